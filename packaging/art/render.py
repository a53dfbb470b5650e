#!/usr/bin/python3
"""Makes the pictures of this folder, but for the symbolic one, from zelmo.svg; wanted only when that changes (needs rsvg-convert)."""

import pathlib
import struct
import subprocess

HERE = pathlib.Path(__file__).resolve().parent
SIZES = (16, 20, 24, 32, 40, 48, 64, 256)


def render(source, name, width, height):
    subprocess.run(["rsvg-convert", "-w", str(width), "-h", str(height), "-o", HERE / name, source], check=True)


def icon_svg(text):
    """The tile alone, filling the picture."""
    head = text.replace('width="348" height="287"\n     viewBox="0 0 348 287"', 'width="64" height="64" viewBox="0 0 64 64"')
    return head[:head.index('  <g id="logo">')] + '  <use xlink:href="#tile"/>\n</svg>\n'


def write_ico(path, images):
    """An icon file whose images are PNG."""
    offset = 6 + 16 * len(images)
    head, body = struct.pack("<HHH", 0, 1, len(images)), b""
    for size, png in images:
        head += struct.pack("<BBBBHHII", size % 256, size % 256, 0, 0, 1, 32, len(png), offset + len(body))
        body += png
    path.write_bytes(head + body)


def main():
    text = (HERE / "zelmo.svg").read_text()
    icon = HERE / "icon.svg"
    icon.write_text(icon_svg(text))
    for size in SIZES:
        render(icon, f"icon-{size}.png", size, size)
    render(HERE / "zelmo.svg", "logo.png", 348, 287)
    write_ico(HERE / "zelmo.ico", [(size, (HERE / f"icon-{size}.png").read_bytes()) for size in SIZES])


if __name__ == "__main__":
    main()
