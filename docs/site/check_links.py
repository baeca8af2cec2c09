#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Fails on a link, picture or script of the written pages that leads nowhere within them.

  check_links.py FOLDER
"""

import html.parser
import pathlib
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    def __init__(self, file):
        super().__init__()
        self.links, self.anchors = [], set()
        self.feed(file.read_text())

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("href", "src") and value:
                self.links.append(value)
            elif name == "id":
                self.anchors.add(value)


def main():
    folder = pathlib.Path(sys.argv[1]).resolve()
    pages = {file: Page(file) for file in folder.rglob("*.html")}
    dead = count = 0
    for file, page in pages.items():
        for link in page.links:
            parts = urllib.parse.urlsplit(link)
            if parts.scheme or parts.netloc:
                continue
            count += 1
            target = (file.parent / urllib.parse.unquote(parts.path)).resolve() if parts.path else file
            anchor = urllib.parse.unquote(parts.fragment)
            if not target.is_file() or (anchor and target in pages and anchor not in pages[target].anchors):
                print(f"{file.relative_to(folder)}: {link} leads nowhere")
                dead += 1
    print(f"{len(pages)} pages, {count} links, {dead} dead")
    sys.exit(dead != 0 or not count)


if __name__ == "__main__":
    main()
