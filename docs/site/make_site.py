#!/usr/bin/python3
"""Makes the site: the guides with MkDocs, the reference of the public headers with Doxygen. A mistake in either fails
it, and so does a page that docs/README.md does not list.

    make_site.py FOLDER [VERSION]    the site is FOLDER/html/index.html
"""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

SITE = pathlib.Path(__file__).resolve().parent
PROJECT = SITE.parents[1]
THEME = pathlib.Path("/usr/share/mkdocs/themes/material")
LINK = re.compile(r"(!?\[(?:[^\]\[]|\[[^\]]*\])*\]\()([^()\s]+)\)")
ENTRY = re.compile(r"- \[([^\]]+)\]\(([^)#]+\.md)\)")
INDEX = "docs/README.md"
# What a reader types, as words and phrases.
TRANSFORM = r"""query => query.replace(/"([^"]+)"/g, (all, words) => words.replace(/(^|\s+)(?=\S)/g, " +"))
  .replace(/[\-_\/.:,;()\[\]<>="`~^*]+/g, " ").trim()"""
HEADERS = ("include/", "model/include/")
LANGUAGES = {
    ".cpp": "cpp", ".h": "cpp", ".py": "python", ".mjs": "js", ".js": "js", ".json": "json", ".xml": "xml", ".wsdl": "xml",
    ".cmake": "cmake", ".txt": "cmake", ".md": "markdown", ".service": "ini", ".conf": "nginx", ".java": "java", ".cs": "csharp",
}


def list_pages():
    """The pages as paths from the project's folder."""
    pages = [PROJECT / name for name in ("README.md", "CHANGELOG.md", "CONTRIBUTING.md", "SECURITY.md")]
    return [str(page.relative_to(PROJECT)) for page in [*pages, *sorted((PROJECT / "docs").rglob("*.md"))] if page.exists()]


def list_sections():
    """The navigation: the lists of docs/README.md, each under the line in front of it."""
    sections = []
    title = ""
    for line in (PROJECT / INDEX).read_text(encoding="utf-8").splitlines():
        if entry := ENTRY.match(line):
            if not sections or sections[-1][0] != title:
                sections.append((title, []))
            sections[-1][1].append((entry[1], os.path.normpath(os.path.join("docs", entry[2]))))
        elif line.strip() and not line.startswith(" "):
            title = line.strip(" #*:")
    return sections


def make_navigation(pages):
    sections = list_sections()
    internals = [page for page in pages if page.startswith("docs/internals/")]
    listed = ["README.md", INDEX, *internals, *(page for _, entries in sections for _, page in entries)]
    if missing := [page for page in pages if page not in listed]:
        sys.exit(f"error: {INDEX} does not list {', '.join(missing)}")
    return [
        {"Start": "README.md"},
        {"All pages": INDEX},
        *({title: [{name: page} for name, page in entries]} for title, entries in sections),
        *([{"Internals": internals}] if internals else []),
        {"Headers": "reference/index.html"},
    ]


def name_language(file):
    if file.name == "CMakeLists.txt" or file.suffix != ".txt":
        if file.suffix in LANGUAGES:
            return LANGUAGES[file.suffix]
    return "sh" if file.read_bytes().startswith(b"#!") else "text"


def list_files(folder):
    """Those of the project below a folder. Where git is missing or does not know the copy, all that are there."""
    listed = []
    if shutil.which("git"):
        command = ["git", "ls-files", "--", folder]
        listed = subprocess.run(command, cwd=PROJECT, check=False, capture_output=True, text=True).stdout.split()
    return listed or [str(file.relative_to(PROJECT)) for file in (PROJECT / folder).rglob("*")
                      if file.is_file() and "__pycache__" not in file.parts]


class Pages:
    """The pages of the site, laid out as they are in the project. What they link to besides has pages as well: of
    files, which show them, and of folders, which list them."""

    def __init__(self, folder, pages):
        self.folder = folder
        self.pages = pages
        self.sources = set()

    def write(self, name, text):
        file = self.folder / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")

    def add(self, page):
        """Adds a page. What belongs to an entry of a list is indented by the width of its mark, which is less than MkDocs
        asks for; nor need a list have an empty line in front."""
        directory = os.path.dirname(page)

        def translate(link):
            target = link[2]
            path = os.path.normpath(os.path.join(directory, target.partition("#")[0]))
            if re.match(r"[a-z]+:|#", target) or path in self.pages:
                return link[0]
            return f"{link[1]}{os.path.relpath(self.add_target(path), directory or '.')})"

        lines = []
        fenced = False
        indent = ""
        for line in (PROJECT / page).read_text(encoding="utf-8").splitlines():
            fenced ^= line.lstrip().startswith("```")
            if line.strip() and not (indent and line.startswith(indent)):
                mark = None if fenced else re.match(r"(-|\d+\.) +", line)
                if mark and not indent and lines and lines[-1].strip() or mark and lines[-1].startswith(" "):
                    lines.append("")
                indent = " " * len(mark[0]) if mark else ""
            elif indent and line.strip():
                line = " " * 4 + line.removeprefix(indent)
            lines.append(line if fenced else LINK.sub(translate, line))
        self.write(page, "\n".join(lines) + "\n")

    def add_target(self, path):
        """Where in the site a link to a file or folder of the project leads."""
        source = PROJECT / path
        if path.startswith(HEADERS):
            classes = sorted((self.folder / "reference").glob(f"class*_1_1{source.stem}.html"))
            return f"reference/{classes[0].name}" if classes else "reference/namespaces.html"
        if source.suffix in (".svg", ".png"):
            (self.folder / path).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, self.folder / path)
            return path
        if source.is_dir():
            return self.add_folder(path)
        return self.add_file(path)

    def add_file(self, path):
        name = f"{path}.md"
        if name not in self.sources:
            self.sources.add(name)
            text = (PROJECT / path).read_text(encoding="utf-8")
            self.write(name, f"# {pathlib.Path(path).name}\n\n`{path}`\n\n~~~~~~{name_language(PROJECT / path)}\n{text}~~~~~~\n")
        return name

    def add_folder(self, path):
        name = f"{path}/index.md"
        if name not in self.sources:
            self.sources.add(name)
            entries = [
                f"- [{os.path.relpath(file, path)}]({os.path.relpath(self.add_file(file), path)})"
                for file in sorted(list_files(path))
                if not file.endswith((".md", ".svg", ".png"))
            ]
            self.write(name, f"# {path}\n\n" + "\n".join(entries) + "\n")
        return name


def run_mkdocs(folder, pages):
    config = {
        "INHERIT": str(SITE / "mkdocs.yml"),
        "docs_dir": "pages",
        "site_dir": "html",
        "theme": {"custom_dir": str(SITE / "theme")},
        "nav": make_navigation(pages),
    }
    (folder / "mkdocs.yml").write_text(json.dumps(config, indent=1), encoding="utf-8")
    subprocess.run([sys.executable, "-m", "mkdocs", "--quiet", "build", "--config-file", folder / "mkdocs.yml"], check=True)


def write_search(html, sources):
    """Writes the index and the worker of the search as a script. Files of the project are left out of the index."""
    index = json.loads((html / "search" / "search_index.json").read_text(encoding="utf-8"))
    left_out = tuple(source.removesuffix(".md") + ".html" for source in sources)
    index["docs"] = [entry for entry in index["docs"] if not entry["location"].startswith(left_out)]
    (worker,) = (THEME / "assets" / "javascripts" / "workers").glob("search.*.js")
    code = re.sub(r"\n//# sourceMappingURL=.*", "", worker.read_text(encoding="utf-8"))
    (html / "search" / "search.js").write_text(
        "var __search = {\n"
        f"transform: {TRANSFORM},\n"
        f"index: Promise.resolve({json.dumps(index, ensure_ascii=False)}),\n"
        f"worker: URL.createObjectURL(new Blob([{json.dumps(code)}], {{type: 'text/javascript'}}))\n}};\n",
        encoding="utf-8",
    )
    # What only a server on the network has a use for.
    for file in (html / "404.html", *html.glob("sitemap.xml*"), html / "search" / "search_index.json", *html.rglob("*.map")):
        file.unlink()


def run_doxygen(folder, version):
    layout = folder.parent / "layout.xml"
    subprocess.run(["doxygen", "-l", layout], check=True)
    text = layout.read_text(encoding="utf-8")
    layout.write_text(text.replace("<navindex>", '<navindex><tab type="user" url="../index.html" title="Guides"/>', 1), encoding="utf-8")
    settings = (SITE / "Doxyfile").read_text(encoding="utf-8")
    settings += f'OUTPUT_DIRECTORY = "{folder}"\nLAYOUT_FILE = "{layout}"\nPROJECT_NUMBER = "{version}"\n'
    subprocess.run(["doxygen", "-"], cwd=PROJECT, input=settings, text=True, check=True)


def main():
    folder = pathlib.Path(sys.argv[1]).resolve()
    for part in ("pages", "html"):
        shutil.rmtree(folder / part, ignore_errors=True)
    (folder / "pages").mkdir(parents=True)
    listed = list_pages()
    run_doxygen(folder / "pages", sys.argv[2] if len(sys.argv) > 2 else "")
    pages = Pages(folder / "pages", listed)
    for page in listed:
        pages.add(page)
    shutil.copy(SITE / "style.css", folder / "pages")
    run_mkdocs(folder, listed)
    write_search(folder / "html", pages.sources)


if __name__ == "__main__":
    main()
