#!/usr/bin/python3
"""Checks the pages of a site: every link within it leads somewhere, nothing is loaded from elsewhere,
no page has a script.

    tools/check_site.py DIR
"""

import sys
from html.parser import HTMLParser
from pathlib import Path

# Elements whose addresses are loaded with the page, and the attribute that has them.
LOADED = {"link": "href", "img": "src", "script": "src", "iframe": "src", "source": "src"}


class Page(HTMLParser):
    """What a page holds: its anchors, its links, what is loaded with it."""

    def __init__(self, text):
        super().__init__()
        self.anchors = set()
        self.links = []
        self.loaded = []
        self.scripts = 0
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        if "id" in values:
            self.anchors.add(values["id"])
        if tag == "a" and "href" in values:
            self.links.append(values["href"])
        if tag in LOADED and LOADED[tag] in values:
            self.loaded.append(values[LOADED[tag]])
        self.scripts += tag == "script" or any(name.startswith("on") for name in values)


def is_elsewhere(link):
    return link.startswith(("http:", "https:", "mailto:", "//"))


def faults(directory):
    """A sentence for everything that is wrong with the pages of a directory."""
    pages = {path.name: Page(path.read_text("utf-8")) for path in sorted(directory.glob("*.html"))}
    found = [] if pages else ["there are no pages"]
    for name, page in pages.items():
        for link in page.links:
            target, _, anchor = link.partition("#")
            target = target or name
            if is_elsewhere(link):
                continue
            if target not in pages:
                found.append(f"{name}: {link} leads to no page")
            elif anchor and anchor not in pages[target].anchors:
                found.append(f"{name}: {link} leads to no place on that page")
        for address in page.loaded:
            if is_elsewhere(address) or not (directory / address).exists():
                found.append(f"{name}: {address} is not part of the site")
        if page.scripts:
            found.append(f"{name}: has a script")
    return found


def main():
    found = faults(Path(sys.argv[1]))
    print("\n".join(found), end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
