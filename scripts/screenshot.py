#!/usr/bin/python3
"""Takes a screenshot of a page in headless Chromium: screenshot.py PAGE.html OUT.png [WIDTH HEIGHT]
(the README's picture of a report is made so)."""
import pathlib
import sys

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service


def main():
    if len(sys.argv) not in (3, 5):
        sys.exit(__doc__)
    width, height = (int(sys.argv[3]), int(sys.argv[4])) if len(sys.argv) == 5 else (1280, 900)
    options = Options()
    for argument in ("--headless=new", "--no-sandbox", "--disable-gpu", "--hide-scrollbars",
                     "--window-size=%d,%d" % (width, height)):
        options.add_argument(argument)
    options.binary_location = "/usr/bin/chromium"
    driver = webdriver.Chrome(service=Service("/usr/bin/chromedriver"), options=options)
    try:
        driver.get(pathlib.Path(sys.argv[1]).resolve().as_uri())
        driver.save_screenshot(sys.argv[2])
    finally:
        driver.quit()


if __name__ == "__main__":
    main()
