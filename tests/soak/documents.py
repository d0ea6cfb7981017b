# SPDX-License-Identifier: BSD-2-Clause
"""Whether what an answer holds is whole and well-formed, looked at as it comes.

A document has feed(bytes), close(), to be called when it is said to be whole, and afterwards `rows`,
as many as it shows, or None when that is not known. Both raise Malformed. What came of an answer that
is not whole is the beginning of a document all the same: what cannot be that is malformed.
"""

import json
import re
from xml.parsers import expat

from framing import Malformed

JSON_MAX = 32 << 20  # bytes of a document that is parsed as one


class Xml:
    """As expat reads it; rows are counted by their tag's text."""

    def __init__(self, row=None, wrapped=False):
        self.parser = expat.ParserCreate()
        self.wrapped = wrapped
        self.tag = b"<%s>" % row.encode() if row else None
        self.rows = 0 if row else None
        self.tail = b""
        if wrapped:
            self.parser.Parse(b"<all>", False)

    def feed(self, data):
        try:
            self.parser.Parse(data, False)
        except expat.ExpatError as error:
            raise Malformed(f"XML: {error} in {data[:300]!r}") from None
        if self.tag:
            # A tag may lie across two pieces.
            seen = self.tail + data
            self.rows += seen.count(self.tag)
            self.tail = seen[-(len(self.tag) - 1):]

    def close(self):
        try:
            self.parser.Parse(b"</all>" if self.wrapped else b"", True)
        except expat.ExpatError as error:
            raise Malformed(f"XML at its end: {error}") from None


class Json:
    def __init__(self):
        self.pieces, self.size = [], 0
        self.rows = None

    def feed(self, data):
        self.size += len(data)
        if self.size <= JSON_MAX:
            self.pieces.append(data)

    def close(self):
        if self.size > JSON_MAX:
            return
        try:
            json.loads(b"".join(self.pieces))
        except ValueError as error:
            raise Malformed(f"JSON: {error}: {b''.join(self.pieces)[-300:]!r}") from None


class Lines:
    """Each line is handed to `check` without its end."""

    def __init__(self):
        self.rest = b""
        self.rows = None

    def feed(self, data):
        *lines, self.rest = (self.rest + data).split(b"\n")
        for line in lines:
            self.check(line)

    def check(self, line):
        pass

    def close(self):
        if self.rest:
            raise Malformed(f"a line without an end: {self.rest[-300:]!r}")


class JsonLines(Lines):
    def __init__(self):
        super().__init__()
        self.rows = 0

    def check(self, line):
        try:
            self.rows += list(json.loads(line)) != ["cursor"]
        except ValueError as error:
            raise Malformed(f"line of JSON: {error}: {line[-300:]!r}") from None


class Text(Lines):
    def check(self, line):
        try:
            line.decode()
        except UnicodeDecodeError as error:
            raise Malformed(f"text: {error}: {line[-300:]!r}") from None


class KeptText(Text):
    def __init__(self):
        super().__init__()
        self.text, self.is_whole = b"", False

    def feed(self, data):
        super().feed(data)
        self.text += data

    def close(self):
        super().close()
        self.is_whole = True


class Counts(Lines):
    PATTERN = re.compile(rb"/\S+ \d+$")

    def check(self, line):
        if not self.PATTERN.match(line):
            raise Malformed(f"no count: {line[:300]!r}")


class XmlLines(Lines):
    def check(self, line):
        document = Xml()
        document.feed(line)
        document.close()
