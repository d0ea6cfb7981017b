# SPDX-License-Identifier: BSD-2-Clause
"""What daemons are asked, at random: commands in every form, pages, filters, questions, and what is wrong.

Each request says what its answer has to be: its type, what it holds, and how it may end.
"""

from dataclasses import dataclass, field
from typing import Callable

import documents

ROUTES = 20000
# Of each pair one set of definitions has the first name and the next one the second: an answer that
# has both is made of two sets.
NAMES = {"netstatd": (b"next-hop", b"gateway"), "leasesd": (b"host-name", b"client-name")}
INTERFACES = (b"soak",)  # how the names of those begin that come and go
FORMS = {  # word: media type, and what reads it, of a command that shows rows of a name
    "": ("application/xml", documents.Xml),
    "as-json": ("application/json", lambda row: documents.Json()),
    "as-ietf-json": ("application/yang-data+json", lambda row: documents.Json()),
    "as-ietf-xml": ("application/yang-data+xml", lambda row: documents.Xml(row, wrapped=True)),
    "as-json-lines": ("application/jsonl", lambda row: documents.JsonLines()),
    "as-table": ("text/plain", lambda row: documents.Text()),
    "count": ("text/plain", lambda row: documents.Counts()),
}
MORE_WORDS = {"as-table": (" wide", " color", " wide color", " fields"),
              "": (" compact", " ascii", " compact ascii"), "as-json": ("",), "count": ("",)}


@dataclass(eq=False)
class Request:
    line: str
    form: str  # for the report
    media: str = "text/plain"
    document: Callable = documents.Text
    ends: dict = field(default_factory=lambda: {"complete": ()})  # how it may end: with which codes
    rows: int | None = None  # as many there must be
    has_row: bool = False    # its document counts rows
    names: tuple = ()
    page: Callable = None    # the request for what is behind a cursor
    is_big: bool = False
    ends_connection: bool = False
    interrupted: bool = False


@dataclass
class Command:
    word: str
    arguments: tuple = ("",)
    row: str = ""        # of its only list that has no list around it
    is_big: bool = False
    fails: tuple = ()    # codes with which its answer may be given up


KERNEL = ("unavailable",)  # a table that changes while it is read is read again, but not for ever
NETCONF_GET = "corvane-netconf-get"
IETF = "urn:ietf:params:xml:ns:yang:ietf-"
COMMANDS = {
    "netstatd": (
        Command("show-interfaces", (
            "", " name=lo", " brief", " kind=veth", " name=none", " ip=127.0.0.1",
            " filter='/interface-information/interface[name=\"lo\"]'",
            " filter='/interface-information/interface[mtu>1000 and starts-with(name,\"soak\")]/statistics'",
            " filter='<interface-information><interface><name/><mtu/></interface></interface-information>'"),
            fails=KERNEL),
        Command("show-routes", (
            "", " brief", " name=ipv4-main", " type=unicast", " destination=10.200.0.0/24",
            " filter='/route-information/table[name=\"ipv4-main\"]/route'"), fails=KERNEL),
        Command("show-neighbors", ("", " state=permanent"), fails=KERNEL),
        Command("show-daemon", fails=KERNEL),
        Command(NETCONF_GET, (
            "", f" filter='<interfaces xmlns=\"{IETF}interfaces\"><interface><name/></interface></interfaces>'",
            " filter='/routing'"), fails=KERNEL),
        Command("show-synthetic-routes", (
            "", "", "", " prefix=10.0.{}.{}/32",
            " filter='/synthetic-routes/route[metric=7]'",
            " filter='/synthetic-routes/route[prefix=\"10.0.{}.{}/32\"]'",
            " filter='<synthetic-routes><route><prefix/><age/></route></synthetic-routes>'"),
            row="route", is_big=True)),
    "leasesd": (
        Command("show-leases", (
            "", "", "", " address=10.{}.1.{}", " pool=guests", " state=bound",
            " filter='/leases/lease[address=\"10.4.{}.{}\"]'",
            " filter='/leases/lease[starts-with(mac,\"02:00:00:00:07\")]/address'",
            " filter='<leases><lease><address/><mac/></lease></leases>'"),
            row="lease", is_big=True),
        Command("show-pools", row="pool"),
        Command("show-lease-statistics"),
        Command(NETCONF_GET, (
            " filter='<dhcp xmlns=\"urn:example:dhcp-leases\"><pool/></dhcp>'",
            " filter='/dhcp/statistics'", " limit=20"))),
}
TEXTS = {
    "netstatd": ("dump /interfaces", "dump /netstatd", "dump /routing", "xwalker show-interfaces",
                 "xwalker show-synthetic-routes/synthetic-routes/route"),
    "leasesd": ("dump /dhcp/pool", "dump /dhcp/statistics", "xwalker show-pools"),
}
LONG_TEXTS = ("dump /dhcp", "xwalker show-leases/leases/lease")
COMMON_TEXTS = ("dump-schema", "dump-render-tree", "check", "trace", "statistics", "?", "show-?",
                "dump-render-tree {command}", "xwalker", "drend ?", "check path=/none.json")
REFUSED = (  # line, code
    ("nonsense", "unknown-entry"), ("show-", "ambiguous-entry"), ("drend", "incomplete-entry"),
    ("protocol=7", "unknown-protocol"), ("drend nonsense as-json", "unknown-entry"),
    ("trace nonsense", "invalid-request"), ("dump /nothing", "invalid-path"),
    ("xwalker nothing", "unknown-command"), ("show-\0", "nul-byte"))
REFUSED_ARGUMENTS = ("limit=0", "limit=x", "depth=0", "cursor=garbage", "nonsense=1", "filter='/['",
                     "filter='<a>'", "filter='<a/><", "filter='/nothing'", "filter='/*[1'")


def number(rng):
    return rng.randrange(1, 70)


def rows_of(command, arguments):
    """How many rows there must be, where that is known."""
    if command.word != "show-synthetic-routes" or "metric" in arguments or "depth" in arguments:
        return None
    return 1 if "10.0." in arguments else ROUTES


def paged(command, arguments, form, limit, rows):
    """The request for a page of `limit` rows, of `rows` that are left."""
    def behind(cursor):
        left = None if rows is None else rows - limit
        request = paged(command, f"{arguments.partition(' cursor=')[0]} cursor={cursor}", form, limit, left)
        # The row that the cursor names may have gone.
        request.ends["given-up"] = command.fails + ("cursor-lost",)
        return request
    request = plain(command, f"{arguments} limit={limit}", form)
    request.rows = None if rows is None else min(rows, limit)
    request.page, request.is_big = behind, limit > 1000
    return request


def plain(command, arguments, form):
    media, document = FORMS[form.partition(" ")[0]]
    ends = {"complete": ("", "nothing")}
    if command.fails:
        ends["given-up"] = command.fails
    return Request(f"{command.word}{arguments} {form}", form.partition(" ")[0] or "xml", media,
                   lambda: document(command.row), ends, rows_of(command, arguments),
                   bool(command.row), is_big=command.is_big and "[" not in arguments)


def rendered(rng, daemon):
    command = rng.choice(COMMANDS[daemon])
    form = rng.choice(tuple(FORMS))
    form += rng.choice(("", *MORE_WORDS.get(form, (" compact", " ascii"))))
    arguments = rng.choice(command.arguments).format(number(rng), number(rng))
    if rng.random() < 0.1:
        arguments += f" depth={rng.randrange(1, 6)}"
    may_be_whole = rng.random() < (0.01 if daemon == "leasesd" else 0.1) and "json" not in form
    if (command.is_big and not may_be_whole) or rng.random() < 0.1:
        limit = rng.choice((1, 3, 50, 700, 5000))
        request = paged(command, arguments, form, limit, rows_of(command, arguments))
    else:
        request = plain(command, arguments, form)
    # The names are those of leaves of the daemon's largest list.
    request.names = NAMES[daemon] if command.is_big else INTERFACES
    return request


def text(rng, daemon):
    is_long = daemon == "leasesd" and rng.random() < 0.02
    line = rng.choice(LONG_TEXTS if is_long else TEXTS[daemon] + COMMON_TEXTS)
    fails = {"given-up": KERNEL} if daemon == "netstatd" and line.startswith(("dump /", "xwalker")) else {}
    return Request(line.format(command=COMMANDS[daemon][0].word), "text", ends={"complete": ("",), **fails},
                   is_big=is_long)


def question(rng, daemon):
    return Request(rng.choice(COMMANDS[daemon]).word + " ?", "question", "text/tab-separated-values",
                   ends={"complete": ("",)})


def refused(rng, daemon):
    line, code = rng.choice(REFUSED)
    if rng.random() < 0.6:
        words = rng.choice([c.word for c in COMMANDS[daemon] if c.word != NETCONF_GET])
        line, code = f"{words} {rng.choice(REFUSED_ARGUMENTS)}", "invalid-request"
    return Request(line, "refused", ends={"refused": (code,)})


def too_long(_rng, _daemon):
    return Request("x" * 70000, "refused", ends={"refused": ("too-long",)}, ends_connection=True)


def subscription(form):
    readers = {"as-ietf-xml": documents.XmlLines, "as-ietf-json": documents.JsonLines}
    return Request(f"events {form} compact", "events", FORMS[form][0] + "; stream=events", readers[form],
                   ends={})


def anything(rng, daemon):
    return rng.choices((rendered, text, question, refused, too_long), (80, 10, 3, 6, 0.3))[0](rng, daemon)
