"""How much, how many and how long: the limits of the endpoint, and what happens beyond them."""

import select
import socket

from endpoint import ALLOWED, BODY_LIMIT, QUIET_SECONDS, Reader, answers_already, as_json

MOST_CONNECTIONS = 256
MOST_WAITING = 128  # of them, for a change
MOST_REQUESTS = 1000  # of a connection
MOST_UNREAD = 12  # answers of 6 MiB, of which 64 MiB may wait
MOST_PAGES = 400  # more than a system keeps for a client that does not read


def check_unfinished(checks, host):
    head = host.head("POST /v1/json HTTP/1.1", f"Origin: {ALLOWED}",
                     f"Content-Length: {BODY_LIMIT}")
    unfinished, refused = [], 0
    for _ in range(60):
        connection = host.connect()
        try:
            connection.sendall(head + b"x" * (BODY_LIMIT - 1))
        except OSError:
            refused += 1
        unfinished.append(connection)
    answers = answers_already(unfinished)
    checks.expect("unfinished bodies have a budget", refused + len(answers) > 0 and
                  all(status in (0, 503) for status in answers), (refused, answers))
    for connection in unfinished:
        connection.close()
    checks.expect("... which is given back", host.ask(
        "POST /v1/echo", body=b"x" * BODY_LIMIT).status == 200)


def large_question(host):
    """Of each byte of its body the answer makes six."""
    return host.head("POST /v1/echo HTTP/1.1",
                     f"Content-Length: {BODY_LIMIT}") + b"\1" * BODY_LIMIT


def check_unread(checks, host):
    """Large answers that nobody takes."""
    held, status = [], 200
    while status == 200 and len(held) < MOST_UNREAD:
        held.append(deaf(host, large_question(host)))
        status = Reader(held[-1]).head()[0]
    checks.expect("answers that nobody reads have a budget", status == 503, len(held))
    checks.expect("... which small ones need not", host.ask("/v1/info").status == 200)
    for connection in held:
        connection.close()
    checks.expect("... and which is given back", [
        host.ask("POST /v1/echo", body=b"\1" * BODY_LIMIT).status for _ in range(3)][-1] == 200)


class Crowd:
    """Requests of which the first byte has come."""

    def __init__(self, host, count):
        self.request = host.head("GET /v1/info HTTP/1.1", f"Origin: {ALLOWED}")
        self.connections = []
        for _ in range(count):
            self.connections.append(host.connect())
            self.connections[-1].sendall(self.request[:1])

    def answer(self, connection):
        connection.sendall(self.request[1:])
        return Reader(connection).answer()

    def close(self):
        for connection in self.connections:
            connection.close()


def check_connections(checks, host):
    idle = [host.connect() for _ in range(300)]
    checks.expect("idle connections make room", host.ask("/v1/info").status == 200)
    idle[-1].sendall(host.head("GET /v1/info HTTP/1.1"))
    checks.expect("... those first that have been idle for longest",
                  Reader(idle[0]).is_at_end() and Reader(idle[-1]).answer().status == 200)
    for connection in idle:
        connection.close()
    slow = Crowd(host, MOST_CONNECTIONS)
    checks.expect(f"{MOST_CONNECTIONS} connections are served",
                  slow.answer(slow.connections.pop(0)).status == 200)
    newest = Crowd(host, MOST_CONNECTIONS)
    checks.expect("requests that have been coming for longest make room for others",
                  host.ask("/v1/info").status == 200 and
                  all(Reader(connection).is_at_end() for connection in slow.connections))
    checks.expect("... and the latest of them are served",
                  newest.answer(newest.connections[-1]).status == 200)
    slow.close()
    newest.close()
    check_crowded(checks, host)


def deaf(host, requests):
    """A connection that does not take its answers."""
    connection = socket.socket()
    connection.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
    connection.connect(("127.0.0.1", host.port))
    connection.sendall(requests)
    return connection


def bytes_of(connection):
    """How many come until the other side closes or says no more for a moment."""
    count = 0
    try:
        while select.select([connection], [], [], QUIET_SECONDS)[0]:
            piece = connection.recv(1 << 20)
            if not piece:
                break
            count += len(piece)
    except OSError:
        pass
    return count


def check_crowded(checks, host):
    """As many connections as there may be, none of which is idle or sends."""
    page = len(host.send(host.head("GET / HTTP/1.1", "Connection: close")).body)
    oldest = deaf(host, large_question(host))
    Reader(oldest).head()
    unread = host.head("GET / HTTP/1.1") * MOST_PAGES
    unheard = [deaf(host, unread) for _ in range(MOST_CONNECTIONS - MOST_WAITING - 1)]
    polls = [host.connect() for _ in range(MOST_WAITING)]
    for connection in polls:
        connection.sendall(host.head("GET /v1/status?wait=60 HTTP/1.1"))
    answered = Crowd(host, 1)
    checks.expect("clients that do not take their answers make room",
                  answered.answer(answered.connections[0]).status == 200)
    checks.expect("... those first that have not for longest",
                  bytes_of(oldest) < 6 * BODY_LIMIT and
                  bytes_of(unheard[-1]) > MOST_PAGES * page)
    newest = Crowd(host, MOST_CONNECTIONS)
    checks.expect("who waits for a change keeps its place among many more",
                  newest.answer(newest.connections[-1]).status == 200 and
                  not select.select(polls, [], [], 0)[0])
    for crowd in (answered, newest):
        crowd.close()
    for connection in [oldest, *unheard, *polls]:
        connection.close()
    checks.expect("... and there is room for all when it has gone",
                  [host.ask("/v1/info").status for _ in range(3)][-1] == 200)


def check_requests(checks, host):
    """What one connection may ask."""
    with host.connect() as connection:
        reader, answers = Reader(connection), []
        while len(answers) < MOST_REQUESTS:
            connection.sendall(host.head("GET /nothing HTTP/1.1") * 100)
            answers += [reader.answer() for _ in range(100)]
        checks.expect(f"a connection ends with its request {MOST_REQUESTS}",
                      [number for number, answer in enumerate(answers, 1)
                       if answer.headers.get("connection") == "close"] == [MOST_REQUESTS] and
                      {answer.status for answer in answers} == {404} and reader.is_at_end())
    poll = host.head("GET /v1/status?wait=1 HTTP/1.1")
    with host.connect() as connection:
        connection.sendall(poll + host.head("GET /v1/echo?after=1 HTTP/1.1"))
        reader = Reader(connection)
        checks.expect("what comes while it waits is answered afterwards",
                      b"changes" in reader.answer().body and b"after" in reader.answer().body)
    with host.connect() as connection:
        connection.sendall(poll + b"x" * 128 * 1024)
        checks.expect("... unless it is too much", Reader(connection).is_at_end())
    with host.connect() as connection:
        connection.sendall(host.head("POST /v1/echo HTTP/1.1", f"Content-Length: {BODY_LIMIT + 1}") +
                           b"x" * BODY_LIMIT)
        reader = Reader(connection)
        answer = reader.answer()
        checks.expect("who is refused can read it while still sending", answer.status == 413 and
                      answer.headers.get("connection") == "close" and reader.is_at_end(), answer)


def check_slow(checks, host):
    with host.connect() as idle, host.connect() as connection:
        connection.sendall(host.head("GET /v1/info HTTP/1.1", f"Origin: {ALLOWED}")[:-2])
        answer = Reader(connection).answer()
        checks.expect("a request that does not end answers 408", answer.status == 408 and
                      (as_json(answer.body) or {}).get("detail") ==
                      "the request did not come in time", answer)
        checks.expect("... and an allowed page can read it",
                      answer.headers.get("access-control-allow-origin") == ALLOWED, answer)
        checks.expect("a connection that asks for nothing ends in that time, too",
                      Reader(idle).is_at_end())


def check_limits(checks, host):
    check_unfinished(checks, host)
    check_unread(checks, host)
    check_connections(checks, host)
    with host.connect() as stream:
        stream.sendall(host.head("GET /v1/events HTTP/1.1"))
        reader = Reader(stream)
        status, headers = reader.head()
        checks.expect("a stream ends with its connection", status == 200 and
                      headers.get("connection") == "close", headers)
        reader.until(b"\n\n")
        check_requests(checks, host)
        check_slow(checks, host)
        checks.expect("a stream without news is kept open by comments",
                      reader.until(b"\n\n") == b": still here")
