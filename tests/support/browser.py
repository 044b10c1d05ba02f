"""Chromium without a window, for tests that look at pages. Where there is none, importing this ends the test as skipped."""

import shutil
import sys

SKIPPED = 77

try:
    from selenium import webdriver
    from selenium.webdriver.chrome.service import Service
except ImportError as error:
    print(f"skipped: {error} (Debian package python3-selenium)")
    sys.exit(SKIPPED)

DRIVER = shutil.which("chromedriver")
BROWSER = shutil.which("chromium")
if not DRIVER or not BROWSER:
    print("skipped: there is no browser (Debian packages chromium and chromium-driver)")
    sys.exit(SKIPPED)


def start_browser(width=1280, height=900):
    """The caller ends it with quit()."""
    options = webdriver.ChromeOptions()
    options.binary_location = BROWSER
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                     "--hide-scrollbars", f"--window-size={width},{height}"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    browser = webdriver.Chrome(service=Service(DRIVER), options=options)
    browser.set_page_load_timeout(120)
    return browser


def set_colour_scheme(browser, scheme):
    """As if the system were set to "light" or "dark"."""
    browser.execute_cdp_cmd(
        "Emulation.setEmulatedMedia", {"features": [{"name": "prefers-color-scheme", "value": scheme}]}
    )


def set_window_size(browser, width, height, scale=1, is_phone=False):
    browser.execute_cdp_cmd(
        "Emulation.setDeviceMetricsOverride",
        {"width": width, "height": height, "deviceScaleFactor": scale, "mobile": is_phone},
    )


def list_errors(browser):
    """What the page's console has got since the last call."""
    return [entry["message"] for entry in browser.get_log("browser") if entry["level"] == "SEVERE"]
