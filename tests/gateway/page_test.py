#!/usr/bin/python3
"""Looks at the page with a browser: page_test.py PLANT GATEWAY [DIRECTORY]

DIRECTORY is where pictures of it go.
"""

import os
import sys
import tempfile
import unittest

from browser import list_errors, set_colour_scheme, set_window_size, start_browser
from gateway_site import Gateway
from programs import Plant, wait_for
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys


class PageTest(unittest.TestCase):
    plant_program = ""
    gateway_program = ""
    pictures = ""

    def setUp(self):
        self.plant = Plant(self.plant_program)
        self.gateway = Gateway(self.gateway_program, f"http://127.0.0.1:{self.plant.port}").wait_until_connected()
        self.browser = None

    def tearDown(self):
        if self.browser:
            self.browser.quit()
        self.gateway.stop()
        self.plant.kill()

    def open(self, width=1280, height=860):
        self.browser = start_browser(width, height)
        self.browser.get(f"http://127.0.0.1:{self.gateway.port}/")
        self.wait_for_text("#state", "connected")
        wait_for(lambda: self.find_row("/boiler/temperature"), "the first branch is open")

    def find(self, selector):
        found = self.browser.find_elements(By.CSS_SELECTOR, selector)
        return found[0] if found else None

    def find_row(self, item):
        return self.find(f"tr[data-item='{item}']")

    def text_of(self, item, column):
        return self.browser.execute_script(
            "const row = document.querySelector(arguments[0]);"
            "return row ? row.querySelector(arguments[1]).textContent : null;",
            f"tr[data-item='{item}']", f"td.{column}")

    def wait_for_text(self, selector, text):
        wait_for(lambda: text in self.browser.execute_script(
            "const found = document.querySelector(arguments[0]); return found ? found.textContent : '';", selector),
                 f"'{text}' at {selector}")

    def take_picture(self, name):
        self.browser.save_screenshot(os.path.join(self.pictures, name))
        self.assertGreater(os.path.getsize(os.path.join(self.pictures, name)), 10_000)

    def test_values_move(self):
        self.open()
        self.assertEqual(self.text_of("/boiler/temperature", "unit"), "degC")
        before = wait_for(lambda: self.text_of("/boiler/temperature", "value"), "a value")
        wait_for(lambda: self.text_of("/boiler/temperature", "value") != before, "the value moves")
        self.assertEqual(self.text_of("/boiler/mode", "value"), "automatic")
        self.assertEqual(list_errors(self.browser), [])

    def test_bad_quality_is_seen(self):
        self.open()
        reading = "/instruments/thermometer_3/reading"
        for branch in ("/instruments", "/instruments/thermometer_3"):
            row = wait_for(lambda branch=branch: self.find_row(branch), branch)
            self.browser.execute_script("arguments[0].querySelector('button.twisty').click()", row)
        wait_for(lambda: self.find_row(reading), "the reading")
        self.assertEqual(self.text_of(reading, "quality"), "badSensorFailure")
        self.assertIn("bad", self.find_row(reading).get_attribute("class").split())
        colour = self.find_row(reading).find_element(By.CSS_SELECTOR, "td.quality").value_of_css_property("color")
        good = self.find_row("/boiler/level").find_element(By.CSS_SELECTOR, "td.quality").value_of_css_property("color")
        self.assertNotEqual(colour, good)

    def test_value_is_written(self):
        self.open()
        self.find_row("/boiler/temperature_setpoint").find_element(By.CSS_SELECTOR, "td.actions button").click()
        field = wait_for(lambda: self.find("#write-value"), "the dialogue opens")
        field.send_keys(Keys.CONTROL, "a")
        field.send_keys("abc")
        self.find("#write-ok").click()
        self.wait_for_text("#write-result", "E_BADTYPE")
        field.send_keys(Keys.CONTROL, "a")
        field.send_keys("192.5")
        self.find("#write-ok").click()
        wait_for(lambda: not self.find("dialog[open]"), "the dialogue closes")
        wait_for(lambda: self.text_of("/boiler/temperature_setpoint", "value").startswith("192.5"), "the new value")
        wait_for(lambda: "192.5" in self.plant.read(), "the plant prints what was written")

    def test_keyboard_is_enough(self):
        self.open()
        self.browser.execute_script("document.querySelector('tr[data-item=\"/boiler/mode\"]').focus()")

        def press(key):
            self.browser.switch_to.active_element.send_keys(key)

        def focused():
            return self.browser.execute_script("return document.activeElement.dataset.item || ''")

        press(Keys.ARROW_DOWN)
        self.assertEqual(focused(), "/boiler/burner_on")
        press(Keys.SPACE)
        wait_for(lambda: self.find("#trend canvas"), "the trend")
        press(Keys.ARROW_LEFT)
        self.assertEqual(focused(), "/boiler")
        press(Keys.ARROW_LEFT)
        wait_for(lambda: not self.find_row("/boiler/mode"), "the branch closes")
        press(Keys.ARROW_RIGHT)
        wait_for(lambda: self.find_row("/boiler/mode"), "the branch opens")
        press(Keys.ARROW_RIGHT)
        self.assertEqual(focused(), "/boiler/mode")
        press(Keys.ENTER)
        wait_for(lambda: self.find("dialog[open] select"), "the dialogue with the modes")
        press("m")  # manual
        press(Keys.ENTER)
        if self.find("dialog[open]"):
            self.find("#write-ok").click()
        wait_for(lambda: self.text_of("/boiler/mode", "value") == "manual", "the mode is manual")
        wait_for(lambda: focused() == "/boiler/mode", "the focus is where it was")

    def test_trend_grows(self):
        self.open()
        self.find_row("/boiler/temperature").find_element(By.CSS_SELECTOR, "input[type=checkbox]").click()
        wait_for(lambda: self.find("#trend canvas"), "the trend")

        def count():
            return int(self.browser.execute_script("return document.getElementById('trend').dataset.points || 0"))

        first = wait_for(count, "points")
        wait_for(lambda: count() > first + 2, "the trend grows")
        self.assertEqual(list_errors(self.browser), [])

    def test_survives_restarts(self):
        self.open()
        wait_for(lambda: self.text_of("/boiler/temperature", "quality") == "good", "a value to remember")
        self.plant.kill()
        self.wait_for_text("#state", "does not answer")
        wait_for(lambda: self.text_of("/boiler/temperature", "quality") == "badLastKnownValue", "the last known value")
        self.assertTrue(self.text_of("/boiler/temperature", "value"))
        self.plant = Plant(self.plant_program, self.plant.port)
        self.wait_for_text("#state", "connected")
        wait_for(lambda: self.text_of("/boiler/temperature", "quality") == "good", "the value is good again")
        self.gateway.kill()
        self.wait_for_text("#state", "the gateway does not answer")
        self.gateway = Gateway(self.gateway_program, f"http://127.0.0.1:{self.plant.port}", port=self.gateway.port)
        self.wait_for_text("#state", "connected")
        before = wait_for(lambda: self.text_of("/boiler/temperature", "value"), "a value")
        wait_for(lambda: self.text_of("/boiler/temperature", "value") != before, "the value moves again")

    def test_pictures(self):
        self.open()
        for item in ("/boiler/temperature", "/boiler/pressure"):
            self.find_row(item).find_element(By.CSS_SELECTOR, "input[type=checkbox]").click()
        self.find_row("/instruments").find_element(By.CSS_SELECTOR, "button.twisty").click()
        wait_for(lambda: int(self.browser.execute_script(
            "return document.getElementById('trend').dataset.points || 0")) > 20, "a trend to look at")
        self.take_picture("page.png")
        set_colour_scheme(self.browser, "dark")
        self.take_picture("page-dark.png")
        self.browser.quit()
        self.open(390, 844)
        set_window_size(self.browser, 390, 844, scale=2, is_phone=True)
        width = self.browser.execute_script("return document.documentElement.scrollWidth")
        self.assertLessEqual(width, 390, "nothing sticks out on a phone")
        self.take_picture("page-phone.png")


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    PageTest.plant_program, PageTest.gateway_program = sys.argv[1:3]
    PageTest.pictures = sys.argv[3] if len(sys.argv) > 3 else tempfile.mkdtemp(prefix="kx-gateway-page-")
    os.makedirs(PageTest.pictures, exist_ok=True)
    unittest.main(argv=sys.argv[:1] + sys.argv[4:], verbosity=2)
