"""What the benchmarks have to show: each row with what it is held against, and how fast it has to be."""

import dataclasses


@dataclasses.dataclass(frozen=True)
class Row:
    """One line of the table. `peer` is empty where the time itself counts, in nanoseconds."""

    job: str
    input: str
    program: str
    ours: str  # the benchmark's name, as its program lists it
    peer: str
    must: float
    aim: float

    @property
    def peer_name(self):
        """The library that the peer's benchmark is named after."""
        return PEERS.get(self.peer_id, "")

    @property
    def peer_id(self):
        """The part of the peer's benchmark that names it."""
        return next((part for part in self.peer.split("/") if part in PEERS), "")

    @property
    def name(self):
        """Job and input in one line."""
        return f"{self.job}: {self.input}" if self.input else self.job


PEERS = {
    "rapidjson": "RapidJSON",
    "boost.beast": "Boost.Beast",
    "boost.url": "Boost.URL",
    "openssl": "OpenSSL",
    "std::string": "std::string",
    "std::unordered_map": "std::unordered_map",
    "std::unordered_map, no copy": "std::unordered_map",
}


def _beside(job, text, program, group, peer, bars, argument=""):
    return Row(job, text, program, f"{group}/vexabase{argument}", f"{group}/{peer}{argument}", *bars)


def _json(job, group, bars):
    inputs = ("630 KB of nested tweets", "1.7 MB catalogue", "300-byte API body",
              "10,000 members in one object")
    return [
        _beside(job, text, "json", group, "rapidjson", bar, f"/{which}")
        for which, (text, bar) in enumerate(zip(inputs, bars))
    ]


def _request(text, group, bars):
    return _beside("HTTP request", text, "http_request", f"http_request/{group}", "boost.beast", bars)


def _table(job, group, peer, bars):
    return [
        _beside(f"Hash table, {job}", f"{count:,} entries", "hash_table", f"hash_table/{group}", peer,
                bar, f"/{count}") for count, bar in zip((10, 1000), bars)
    ]


def _time(job, text, program, ours, bars):
    return Row(job, text, program, ours, "", *bars)


ROWS = (
    *_json("JSON parse and release", "json/parse",
           ((0.55, 0.40), (0.85, 0.70), (0.60, 0.45), (0.65, 0.50))),
    *_json("JSON write", "json/write", ((0.5, 0.35), (0.8, 0.6), (0.5, 0.35), (0.6, 0.35))),
    _beside("JSON member lookup", "5 to 17 members", "json", "json/member, 5 to 17", "rapidjson",
            (1.2, 0.9)),
    _request("GET of 575 bytes, whole", "get/whole", (1.2, 0.6)),
    _request("GET of 575 bytes, in pieces of 64", "get/pieces", (1.2, 0.6)),
    _request("POST of 4 KiB, whole", "post 4 KiB/whole", (1.5, 0.8)),
    _request("POST of 4 KiB, in pieces of 64", "post 4 KiB/pieces", (1.0, 0.5)),
    _beside("HTTP response", "6 headers, 2 KiB", "http_response", "http_response/6 headers, 2 KiB",
            "std::string", (3, 2)),
    _beside("URL split", "1,000 URLs", "url", "url/split 1000", "boost.url", (0.3, 0.2)),
    _beside("Same origin", "two texts", "url", "url/same origin", "boost.url", (0.3, 0.2)),
    *_table("put and free", "put and free", "std::unordered_map", ((1.3, 1.0), (1.1, 1.0))),
    *_table("get a copy", "get", "std::unordered_map, no copy", ((4, 2.5), (2, 1.5))),
    _beside("Base64 encode", "1 MiB in lines", "base64", "base64/encode", "openssl", (1.1, 1.0)),
    _beside("Base64 decode", "1 MiB in lines", "base64", "base64/decode", "openssl", (0.5, 0.33)),
    _time("HTTP body of 1 MiB", "in pieces of 64", "http_request",
          "http_request/post 1 MiB/pieces/vexabase", (10e6, 5e6)),
    _time("One trace scope, tracing off", "", "border", "border/trace scope/vexabase", (8, 5)),
    _time("Allocate and free", "32 bytes", "border", "border/allocate and free/vexabase/32", (9, 6)),
    _time("Create and release", "URL parser", "url", "url/create and release/vexabase", (35, 30)),
    _time("Create and release", "HTTP request", "http_request",
          "http_request/create and release/vexabase", (120, 80)),
)

# Cost that grows with the input, and no faster: the same for an input of twice and four times the
# size, the largest of which is named.
GROWING = {
    "JSON parse, 4 MB": ("json", [f"json/parse growing/vexabase/{i}" for i in (6, 7, 8)]),
    "JSON write, 4 MB": ("json", [f"json/write growing/vexabase/{i}" for i in (6, 7, 8)]),
    "HTTP request, head of 4 MB": (
        "http_request", [f"http_request/growing/vexabase/{i}" for i in (1, 2, 4)]),
    "HTTP request, 400 KB of lines of white space": (
        "http_request", [f"http_request/white lines/vexabase/{i}" for i in (1, 2, 4)]),
    "HTTP request, 400 KB of lines without a blank": (
        "http_request", [f"http_request/lines without a blank/vexabase/{i}" for i in (1, 2, 4)]),
    "URL, host of 4 MB": ("url", [f"url/growing/vexabase/{i}" for i in (1, 2, 4)]),
    "Host of 400 KB, and a pattern that nearly fits everywhere": (
        "url", [f"url/bypass list/nearly everywhere/vexabase/{i}" for i in (1, 2, 4)]),
    "Certificate with 120,000 purposes": (
        "certificates",
        [f"certificates/purposes growing/vexabase/{i}" for i in (30000, 60000, 120000)]),
    "Text of a name with 8,000 types in one part": (
        "certificates", [f"certificates/types growing/vexabase/{i}" for i in (2000, 4000, 8000)]),
    "PEM text with 80,000 beginnings on one line": (
        "certificates",
        [f"certificates/beginnings growing/vexabase/{i}" for i in (20000, 40000, 80000)]),
    "PKCS#12 with 1,000 keys and certificates": (
        "certificates", [f"certificates/pairs growing/vexabase/{i}" for i in (250, 500, 1000)]),
}
# Four times the input may take so many times as long: caches end somewhere between.
MOST_GROWTH = 6.0

# What somebody made to be slow, and an ordinary input of its size.
CHOSEN = {
    "HTTP query of 32 KiB, keys of one bucket": (
        "http_request", [f"http_request/query of 32 KiB/{keys}/vexabase"
                         for keys in ("colliding", "ordinary")]),
    "JSON object of 50,000 keys that meet": (
        "json", ["json/parse colliding/vexabase/10", "json/parse colliding/honest keys/9"]),
    "Host of 100 KB, and a pattern that nearly fits everywhere": (
        "url", [f"url/bypass list/{pattern}/vexabase/1"
                for pattern in ("nearly everywhere", "ordinary")]),
}
# So many times as long it may take.
MOST_CHOSEN = 10.0
