#!/usr/bin/env python3
"""Makes a page of one of the documents: make_guide.py CMARK-GFM TEXT.md PAGE.html. Links between
the documents become links between their pages, and headings can be linked to."""
import html
import pathlib
import re
import subprocess
import sys

STYLE = """
body { max-width: 50em; margin: 2em auto; padding: 0 1em; font-family: sans-serif;
       line-height: 1.6; color: #222; background: #fff; }
img { max-width: 100%; border: 1px solid #ccc; }
table { border-collapse: collapse; }
th, td { border: 1px solid #ccc; padding: .3em .6em; text-align: left; vertical-align: top; }
pre { padding: .8em; overflow-x: auto; background: #f4f4f4; }
code { background: #f4f4f4; }
a { color: #1a5fb4; }
@media (prefers-color-scheme: dark) {
  body { color: #ddd; background: #1e1e20; }
  pre, code { background: #2d2d30; }
  th, td, img { border-color: #555; }
  a { color: #78aeed; }
}
"""


def with_anchor(heading: re.Match) -> str:
    """The anchor is made of the heading's text as the usual viewers of such texts make it."""
    level, text = heading.groups()
    words = html.unescape(re.sub(r"<[^>]*>", "", text)).lower()
    anchor = re.sub(r"[^\w\- ]", "", words).replace(" ", "-")
    return f'<h{level} id="{html.escape(anchor)}">{text}</h{level}>'


def main() -> int:
    cmark, text, page = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    body = subprocess.run([cmark, "--extension", "table", "--extension", "autolink", str(text)],
                          check=True, stdout=subprocess.PIPE, encoding="utf-8").stdout
    title = re.search(r"<h1>(.*?)</h1>", body, re.S)
    body = re.sub(r"<h([1-6])>(.*?)</h\1>", with_anchor, body, flags=re.S)
    body = re.sub(r'href="(?![a-z]+:)([^"#]+)\.md([#"])', r'href="\1.html\2', body)
    language = "zh-Hant-TW" if ".zh-TW." in text.name else "en"
    name = html.unescape(re.sub(r"<[^>]*>", "", title.group(1))) if title else text.stem
    page.parent.mkdir(parents=True, exist_ok=True)
    page.write_text(
        f'<!DOCTYPE html>\n<html lang="{language}">\n<head>\n<meta charset="utf-8">\n'
        '<meta name="viewport" content="width=device-width">\n'
        f"<title>Kavrel: {html.escape(name)}</title>\n<style>{STYLE}</style>\n</head>\n<body>\n"
        f"{body}</body>\n</html>\n", encoding="utf-8")
    return 0


sys.exit(main())
