#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Opens every written page in Chromium: reads its title, looks for pictures that do not load and for
complaints of the browser, and keeps screenshots of some, light and dark, narrow and wide.

  check_pages.py HTML SCREENSHOTS
"""

import pathlib
import sys

from selenium import webdriver
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By

SHOWN = ["index", "start/c", "reference/arithmetic", "reference/filters", "guides/threads", "benchmarks"]
WIDTHS = {"narrow": 480, "wide": 1600}
MISSING_PICTURES = "return [...document.images].filter(i => !i.complete || !i.naturalWidth).map(i => i.src)"
# Tables and programs scroll within themselves.
TOO_WIDE = """
  return [...document.querySelectorAll('article :is(h1, h2, h3, p, li, img)')]
      .filter(e => !e.closest('.table-wrapper') && e.getBoundingClientRect().right > innerWidth)
      .map(e => e.textContent.slice(0, 60) || e.src)"""
WRITTEN_BY_SPHINX = {"genindex", "search"}


def browser():
    options = webdriver.ChromeOptions()
    options.binary_location = "/usr/bin/chromium"
    for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--hide-scrollbars"):
        options.add_argument(argument)
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    return webdriver.Chrome(options=options, service=Service("/usr/bin/chromedriver"))


def faults(driver, file):
    """What is wrong with the page that is open."""
    headings = [element.text.rstrip("#¶ ") for element in driver.find_elements(By.TAG_NAME, "h1")]
    if file.stem not in WRITTEN_BY_SPHINX and not (len(headings) == 1 and driver.title.startswith(headings[0])):
        yield f"the title is '{driver.title}', the headings {headings}"
    for picture in driver.execute_script(MISSING_PICTURES):
        yield f"{picture} does not load"
    for entry in driver.get_log("browser"):
        if "favicon" not in entry["message"]:
            yield entry["message"]


def shoot(driver, theme, name, width, folder):
    driver.execute_script(f"document.body.dataset.theme = '{theme}'")
    driver.set_window_size(width, 1000)
    for text in driver.execute_script(TOO_WIDE):
        yield f"{name} at {width} pixels: '{text}' stands out of the window"
    driver.save_screenshot(str(folder / f"{name.replace('/', '-')}-{theme}-{width}.png"))


def main():
    html, folder = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    folder.mkdir(parents=True, exist_ok=True)
    driver = browser()
    wrong = []
    try:
        pages = sorted(html.rglob("*.html"))
        for file in pages:
            name = str(file.relative_to(html).with_suffix(""))
            driver.get(file.as_uri())
            print(f"{name}: {driver.title}")
            wrong += [f"{name}: {fault}" for fault in faults(driver, file)]
            if name in SHOWN:
                for theme in ("light", "dark"):
                    for width in WIDTHS.values():
                        wrong += shoot(driver, theme, name, width, folder)
    finally:
        driver.quit()
    print("\n".join(wrong))
    print(f"{len(pages)} pages, {len(wrong)} faults, screenshots in {folder}")
    sys.exit(bool(wrong) or not pages)


if __name__ == "__main__":
    main()
