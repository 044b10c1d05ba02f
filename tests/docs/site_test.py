#!/usr/bin/python3
"""Looks at the site of the documentation with a browser, as files: site_test.py FOLDER [PICTURES]

FOLDER is what check_site.py has made; PICTURES is where pictures of some pages go.
"""

import pathlib
import sys
import unittest

from browser import SKIPPED, list_errors, set_colour_scheme, set_window_size, start_browser
from programs import wait_for

WIDTHS = (390, 1280)
# What a reader may ask for, and a page that has to be among the first ten answers.
WORDS = {
    "TLS": "docs/operation.html",
    "port": "docs/getting-started.html",
    "timeout": "docs/operation.html",
    "install": "docs/packages.html",
    "certificate": "docs/deployment.html",
    "deadband": "docs/services.html",
    "quality": "docs/properties.html",
    "subscription": "docs/services.html",
    "nginx": "docs/deployment.html",
    "add_variable": "docs/model.html",
}


class SiteTest(unittest.TestCase):
    site = pathlib.Path()
    pictures = None

    @classmethod
    def setUpClass(cls):
        cls.browser = start_browser()
        cls.guides = [*sorted(cls.site.glob("*.html")), *sorted((cls.site / "docs").rglob("*.html"))]
        cls.guides.append(cls.site / "examples" / "minimal" / "main.cpp.html")

    @classmethod
    def tearDownClass(cls):
        cls.browser.quit()

    def setUp(self):
        set_colour_scheme(self.browser, "light")
        self.set_width(1280)

    def set_width(self, width):
        set_window_size(self.browser, width, 900)

    def open(self, file):
        self.browser.get((self.site / file).as_uri())

    def start_anew(self, file):
        """As for the first time: a choice of colours is kept."""
        self.open(file)
        self.run_script("localStorage.clear(); sessionStorage.clear()")
        self.open(file)

    def run_script(self, script, *arguments):
        return self.browser.execute_script(script, *arguments)

    def take_picture(self, name):
        if self.pictures:
            self.browser.save_screenshot(str(self.pictures / f"{name}.png"))

    def expect(self, script, result):
        """The theme arranges a page after it was loaded, and again when the window has changed: not at once."""
        try:
            wait_for(lambda: self.run_script(script) == result, script, seconds=10)
        except TimeoutError:
            self.assertEqual(self.run_script(script), result, script)

    def check_width(self, file):
        """A page is not wider than the window: no browser lets it scroll sideways, and nothing is cut off."""
        for width in WIDTHS:
            self.set_width(width)
            with self.subTest(page=str(file), width=width):
                self.expect("return window.innerWidth", width)
                self.expect(OVERFLOW, 0)
                self.expect(FIND_WIDER, [])

    def test_pages_fit_at_both_widths(self):
        self.assertGreater(len(self.guides), 20)
        for file in self.guides:
            self.open(file)
            self.check_width(file.relative_to(self.site))
        self.assertEqual(list_errors(self.browser), [])

    def test_reference_fits_at_both_widths(self):
        for file in ("index", "annotated", "namespacekx_1_1information__model", "classkx_1_1information__model_1_1Variable"):
            self.open(f"reference/{file}.html")
            for width in WIDTHS:
                self.set_width(width)
                with self.subTest(page=file, width=width):
                    self.expect(OVERFLOW, 0)
                    self.expect(HIDDEN_WIDTH, 0)
                    self.take_picture(f"reference-{file[:9]}-{width}")

    def test_colours_follow_the_system(self):
        for file in ("index.html", "docs/services.html", "reference/index.html"):
            shades = {}
            for scheme in ("light", "dark"):
                set_colour_scheme(self.browser, scheme)
                self.start_anew(file)
                shades[scheme] = self.run_script(SHADES)
                for width in WIDTHS:
                    self.set_width(width)
                    self.take_picture(f"{file.replace('/', '-').removesuffix('.html')}-{width}-{scheme}")
            with self.subTest(page=file):
                self.assertGreater(shades["light"]["page"], shades["light"]["text"] + 100)
                self.assertGreater(shades["dark"]["text"], shades["dark"]["page"] + 100)

    def test_search_finds_words(self):
        for word, page in WORDS.items():
            with self.subTest(word=word):
                self.open("docs/index.html")
                field = self.browser.find_element("css selector", "[data-md-component=search-query]")
                field.click()
                field.send_keys(word)
                # A link names the words that were found. The first answers may be those to the first letters.
                answer = f"{(self.site / page).as_uri()}?h={word.lower().replace('_', '+')}"
                wait_for(lambda answer=answer: [link for link in self.run_script(FIND_ANSWERS) if link.startswith(answer)], answer)
                if word == "TLS":
                    self.take_picture("search")

    def test_nothing_is_fetched_from_elsewhere(self):
        for file in ("index.html", "docs/gateway.html", "reference/index.html"):
            self.open(file)
            fetched = self.run_script("return performance.getEntriesByType('resource').map(entry => entry.name)")
            self.assertEqual([name for name in fetched if not name.startswith(("file:", "blob:", "data:"))], [])


# By how much the page is wider than the window.
OVERFLOW = "return Math.max(0, document.documentElement.scrollWidth - window.innerWidth)"
# Elements wider than the window that nothing around them scrolls.
FIND_WIDER = """
  const scrolls = element => {
    for (let outer = element; outer && outer !== document.body; outer = outer.parentElement)
      if (['auto', 'scroll', 'hidden'].includes(getComputedStyle(outer).overflowX)) return true;
    return false;
  };
  return [...document.querySelectorAll('.md-content *')]
    .filter(element => element.getBoundingClientRect().right > window.innerWidth + 1 && !scrolls(element))
    .map(element => element.outerHTML.slice(0, 100));
"""
# How much of the reference's text is reached only by scrolling sideways: its frame hides that from the page's width.
HIDDEN_WIDTH = """
  const frame = document.getElementById('doc-content');
  return frame.scrollWidth - frame.clientWidth;
"""
# How light the page and its text are.
SHADES = """
  const shade = colour => colour.match(/[\\d.]+/g).slice(0, 3).map(Number).reduce((sum, part) => sum + part) / 3;
  const paragraph = document.querySelector('article p, div.textblock p');
  return {page: shade(getComputedStyle(document.body).backgroundColor), text: shade(getComputedStyle(paragraph).color)};
"""
FIND_ANSWERS = """
  return [...document.querySelectorAll('.md-search-result__link')].map(link => link.href);
"""


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    SiteTest.site = pathlib.Path(sys.argv[1]).resolve() / "html"
    if not (SiteTest.site / "index.html").exists():
        print("skipped: there is no site to look at, because what makes it was skipped")
        sys.exit(SKIPPED)
    if len(sys.argv) > 2:
        SiteTest.pictures = pathlib.Path(sys.argv[2]).resolve()
        SiteTest.pictures.mkdir(parents=True, exist_ok=True)
    unittest.main(argv=sys.argv[:1], verbosity=2)
