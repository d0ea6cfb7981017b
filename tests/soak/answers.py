# SPDX-License-Identifier: BSD-2-Clause
"""One answer of a management socket: what comes of it is looked at at once, and its end is judged."""

import framing
from framing import Malformed

STATUS_NAMES = ("end", "code", "text", "cursor", "rows")
ERROR, NOTHING = b"error: ", b"210\n"


class Answer:
    """Takes what a reader gives until END; outcome() then says how it ended, or raises Malformed."""

    def __init__(self, request, protocol):
        self.request, self.protocol = request, protocol
        self.document = request.document()
        self.media, self.status = None, None
        self.size = 0
        self.start = b""      # its first bytes
        self.error = None     # protocol 1: the line
        self.seen = set()

    def take(self, kind, data):
        if self.status is not None:
            raise Malformed(f"{kind} behind the status")
        if kind == framing.TYPE:
            if self.media is not None or self.size or self.protocol == 1:
                raise Malformed("a type within an answer")
            self.media = data.decode()
        elif kind == framing.STATUS:
            if self.protocol == 1:
                raise Malformed("a status in protocol 1")
            self.status = parse_status(data)
        else:
            self.take_data(kind, data)

    def take_data(self, kind, data):
        if self.protocol == 2 and self.media is None:
            raise Malformed("data without a type")
        if self.protocol == 1 and kind == framing.CHUNK and data.startswith(
                ERROR if self.size == 0 else b"\n" + ERROR):
            self.error = b""
        self.size += len(data)
        if self.error is not None:
            self.error += data
            return
        self.start += data[:max(0, 300 - len(self.start))]
        if self.protocol == 2 or self.start != NOTHING:
            self.document.feed(data)
        self.seen.update(name for name in self.request.names if name in data)
        if len(self.seen) > 1:
            raise Malformed("it is made of two sets of definitions")

    # --- the end ---

    def outcome(self):
        end, code = self.end_of_1() if self.protocol == 1 else self.end_of_2()
        allowed = {**self.request.ends, **({"interrupted": ("interrupted",)} if self.request.interrupted else {})}
        # Why a request was refused is not for programs to know in protocol 1.
        if end not in allowed or (code not in allowed[end] and allowed[end] and code is not None):
            raise Malformed(f"it ended {end} {code}: {self.status or self.error or self.start}")
        return f"{end} {code}" if code and code != end else end

    def end_of_1(self):
        if self.error is None:
            if self.size == 0:
                raise Malformed("there is nothing in it")
            if self.start != NOTHING:
                self.document.close()
            return "complete", None
        text = self.error.strip(b"\n")
        if not self.error.endswith(b"\n") or b"\n" in text:
            raise Malformed(f"the line of error is none: {self.error[:300]!r}")
        if text == ERROR + b"interrupted":
            return "interrupted", "interrupted"
        ends = [end for end in ("refused", "given-up") if end in self.request.ends]
        return (ends or ["refused"])[0], None

    def end_of_2(self):
        if self.status is None:
            raise Malformed("it has no status")
        end, code = self.status["end"], self.status.get("code", "")
        if end == "complete":
            self.check_whole(code)
        elif not code or "text" not in self.status:
            raise Malformed(f"a status that says not why: {self.status}")
        elif end == "refused" and (self.size or self.media):
            raise Malformed("data of an answer that was refused")
        return end, code

    def check_whole(self, code):
        if (self.media is None and self.size) or self.media not in (None, self.request.media):
            raise Malformed(f"it is of type {self.media}")
        if code == "nothing":
            if self.size:
                raise Malformed("nothing was printed, and here it is")
            return
        if self.size:
            self.document.close()
        self.check_rows()

    def check_rows(self):
        told = self.status.get("rows")
        if self.request.rows is not None and told != str(self.request.rows):
            raise Malformed(f"{told} rows, not {self.request.rows}")
        shown = self.document.rows
        if self.request.has_row and self.size and shown is not None and int(told or 0) != shown:
            raise Malformed(f"{told} rows are told, {shown} shown")


def parse_status(data):
    if not data.endswith(b"\n"):
        raise Malformed(f"a status without an end: {data!r}")
    pairs = [line.partition(": ")[::2] for line in data.decode().split("\n")[:-1]]
    names = [name for name, _ in pairs]
    if names != [name for name in STATUS_NAMES if name in names] or names[:1] != ["end"]:
        raise Malformed(f"a status with {names}")
    return dict(pairs)
