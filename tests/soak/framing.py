# SPDX-License-Identifier: BSD-2-Clause
"""Chunked framing as daemons write it, with notes or without; and NETCONF's two kinds of it.

Each reader has feed(bytes), which gives pairs of what was read and its bytes, and `unread`, what is
not a whole of anything yet.
"""

import re

DATA, CHUNK, TYPE, STATUS, END = "data", "chunk", "type", "status", "end"
HEADER = re.compile(rb"\n#(?:#|([ts]?)([1-9][0-9]{0,9}))\n")
BEGINNING = re.compile(rb"\n(?:#(?:#|[ts]?(?:[1-9][0-9]{0,9})?)?)?")
KINDS = {b"": CHUNK, b"t": TYPE, b"s": STATUS}
# The first piece of a chunk is long enough to show whether it is a line of error.
FIRST_PIECE = len(b"\nerror: ")


class Malformed(Exception):
    pass


class ChunkReader:
    def __init__(self):
        self.unread = b""
        self.kind, self.left = None, 0

    def feed(self, data):
        """CHUNK is the first piece of a chunk, DATA a further one."""
        data = self.unread + data
        at = 0
        while at < len(data):
            taken = self.header(data, at) if self.left == 0 else self.piece(data, at)
            if taken is None:
                break
            at, *event = taken
            if event:
                yield event
        self.unread = data[at:]

    def header(self, data, at):
        header = HEADER.match(data, at)
        if not header:
            if not BEGINNING.fullmatch(data, at):
                raise Malformed(f"no header: {data[at:at + 40]!r}")
            return None
        if header[2] is None:
            return header.end(), END, b""
        self.kind, self.left = KINDS[header[1]], int(header[2])
        return header.end(),

    def piece(self, data, at):
        least = 1 if self.kind == DATA else FIRST_PIECE if self.kind == CHUNK else self.left
        if len(data) - at < min(least, self.left):
            return None
        piece, kind = data[at:at + self.left], self.kind
        self.left -= len(piece)
        self.kind = DATA
        return at + len(piece), kind, piece


class MarkReader:
    """NETCONF 1.0: a mark behind each message."""
    MARK = b"]]>]]>"

    def __init__(self):
        self.unread = b""

    def feed(self, data):
        *whole, rest = (self.unread + data).split(self.MARK)
        for text in whole:
            yield DATA, text
            yield END, b""
        # A beginning of the mark waits for the rest of it.
        keep = next((n for n in range(len(self.MARK) - 1, 0, -1) if rest.endswith(self.MARK[:n])), 0)
        self.unread = rest[len(rest) - keep:]
        if len(rest) > keep:
            yield DATA, rest[:len(rest) - keep]
