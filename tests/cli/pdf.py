"""What tests ask of a PDF, without a program that reads it."""

import contextlib
import re
import zlib


def pages(content):
    """The sizes of its pages in points."""
    assert content.startswith(b"%PDF-")
    objects = content
    for stream in re.finditer(rb"stream\r?\n(.*?)endstream", content, re.DOTALL):
        with contextlib.suppress(zlib.error):  # no stream is packed otherwise that has objects in it
            objects += zlib.decompressobj().decompress(stream[1])
    count = len(re.findall(rb"/Type\s*/Page\b", objects))
    boxes = re.findall(rb"/MediaBox\s*\[\s*0 0 ([\d.]+) ([\d.]+)\s*\]", objects)
    assert len(boxes) >= count
    return [(round(float(width)), round(float(height))) for width, height in boxes[:count]]


A4 = (595, 842)
