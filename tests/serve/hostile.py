"""hostile.py TESSARY TESSARY_BOARD FOLDER [SECONDS]: what strangers send to the server, random bytes for so long.

It neither crashes nor leaks a descriptor, and others are served meanwhile; a build with sanitizers reports by its exit
code. The bytes come from a seed that is printed."""
import os
import random
import resource
import shutil
import socket
import sys
import time

from bench import Bench, until

CONNECTIONS = 1000
SEED = int(os.environ.get("SEED", "1"))


def connect(bench):
    return socket.create_connection(("127.0.0.1", bench.port), timeout=30)


def exchange(bench, *pieces):
    """The begin of what comes back; the pieces arrive apart from each other."""
    answer = b""
    with connect(bench) as peer:
        peer.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        try:
            for piece in pieces:
                peer.sendall(piece)
        except OSError:
            pass  # it has heard enough
        peer.settimeout(0.3)
        try:
            while len(answer) < 65536 and (piece := peer.recv(65536)):
                answer += piece
        except OSError:
            pass
    return answer


def status(answer):
    parts = answer.split(b" ", 2)
    return int(parts[1]) if len(parts) > 2 and parts[0].startswith(b"HTTP/") else None


def request(path="/metrics", host=None, method="GET", more=""):
    host = "127.0.0.1" if host is None else host
    return ("%s %s HTTP/1.1\r\nHost: %s\r\nConnection: close\r\n%s\r\n" % (method, path, host, more)).encode("latin-1")


def expect(what, got, *wanted):
    assert got in wanted, "%s: %r" % (what, got)


def others_are_served(bench):
    code, _, body = bench.get("/metrics")
    assert code == 200 and b"tessary_up" in body, code


def hosts(bench):
    for host in ("127.0.0.1:%d" % bench.port, "127.0.0.1", "localhost:9464", "LOCALHOST", "[::1]:80", "127.7.7.7"):
        expect("host " + host, status(exchange(bench, request("/", host))), 200)
    for host in ("", "evil.example", "evil.example:%d" % bench.port, "127.0.0.1.evil.example", "localhost.evil.example",
                 "127.0.0.1:80:80", "127.0.0.1@evil.example", "[::1", "10.0.0.1", "0.0.0.0", "localhost:port", "a" * 4000):
        expect("host %.40s" % host, status(exchange(bench, request("/", host))), 403)
    expect("two hosts", status(exchange(bench, request(more="Host: evil.example\r\n"))), 400, 403)
    expect("two hosts", status(exchange(bench, request(host="evil.example", more="Host: 127.0.0.1\r\n"))), 400, 403)
    expect("no host", status(exchange(bench, b"GET /metrics HTTP/1.1\r\n\r\n")), 400, 403)
    expect("another's address", status(exchange(bench, request("http://evil.example/metrics"))), 400, 404)


def methods(bench):
    for method in ("POST", "PUT", "DELETE", "OPTIONS", "PATCH", "TRACE", "CONNECT", "NOTHING"):
        answer = exchange(bench, request(method=method))
        expect(method, status(answer), 405)
        assert b"\r\nAllow: GET, HEAD\r\n" in answer, answer
    head = exchange(bench, request(method="HEAD"))
    assert status(head) == 200 and head.endswith(b"\r\n\r\n"), head
    for path in ("/../../etc/passwd", "/%2e%2e/etc/passwd", "/recording?board=../../etc/passwd", "//", "/metrics/x",
                 "/events?board=%ff%00%zz", "/?board=" + "x" * 5000):
        expect(path[:40], status(exchange(bench, request(path))), 404, 400, 414)


def shapes(bench):
    whole = request()
    expect("byte by byte", status(exchange(bench, *[whole[at:at + 1] for at in range(len(whole))])), 200)
    expect("huge header", status(exchange(bench, request(more="X: " + "x" * (1 << 20) + "\r\n"))), 400, 413, 431, None)
    expect("many headers", status(exchange(bench, request(more="X: y\r\n" * 100000))), 400, 413, 431, None)
    expect("huge address", status(exchange(bench, request("/" + "x" * (1 << 20)))), 400, 414, 431, None)
    expect("endless line", status(exchange(bench, *[b"x" * 65536] * 64)), 400, 414, 431, None)
    exchange(bench, request() * 50)
    exchange(bench, request(more="Content-Length: 99999999999999999999\r\n"), b"x" * 65536)
    exchange(bench, request(more="Content-Length: 1048576\r\n"), b"x" * (1 << 20))
    exchange(bench, request(more="Transfer-Encoding: chunked\r\n"), b"FFFFFFFFFFFFFFFF\r\n" + b"x" * 65536)
    exchange(bench, request(more="Transfer-Encoding: chunked\r\n"), b"-1\r\n", b"zz\r\n" * 1000)
    exchange(bench, request(more="Last-Event-ID: 18446744073709551616-" + "9" * 30 + "\r\n", path="/events"))
    exchange(bench, request(more="Accept: " + ",;q=" * 1000 + "\r\n"))
    others_are_served(bench)


def crowd(bench):
    """Connections that ask for nothing, or never come to the end of it."""
    peers = []
    for number in range(CONNECTIONS):
        peers.append(connect(bench))
        if number % 2:
            peers[-1].sendall(b"GET /metrics HTTP/1.1\r\nHost: 127.0.0.1\r\nX: ")
        if number % 100 == 99:
            others_are_served(bench)
    others_are_served(bench)
    for peer in peers:
        peer.close()


def viewers(bench):
    """Viewers that never take what they are sent: beyond a number they are refused, and others are served."""
    peers = [connect(bench) for _ in range(80)]
    for number, peer in enumerate(peers):
        peer.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
        peer.sendall(request("/events" if number % 2 else "/recording"))
    for _ in range(5):
        others_are_served(bench)
    until("there are viewers", lambda: bench.metrics()["tessary_serve_viewers"] >= 30)
    for peer in peers:
        peer.close()
    until("the viewers are gone", lambda: bench.metrics()["tessary_serve_viewers"] == 0)


def noise(bench, seconds):
    source = random.Random(SEED)
    words = [b"GET ", b"HEAD ", b"/", b"/events", b"/recording", b"?board=", b"%", b" HTTP/1.1", b"\r\n", b"\n", b"Host: ",
             b"127.0.0.1", b":", b";q=", b"Accept: ", b"Transfer-Encoding: chunked\r\n", b"Content-Length: ", b"\0", b"\xff"]
    end = time.monotonic() + seconds
    count = 0
    while count < 100 or time.monotonic() < end:
        pieces = [source.choice(words) if source.random() < 0.7 else source.randbytes(source.randrange(1, 300))
                  for _ in range(source.randrange(1, 40))]
        if source.random() < 0.3:
            pieces.insert(0, request(source.choice(["/", "/metrics", "/events", "/recording"]))[:source.randrange(1, 60)])
        with connect(bench) as peer:
            try:
                for piece in pieces:
                    peer.sendall(piece)
                peer.settimeout(0.01)
                peer.recv(1 << source.randrange(16))
            except OSError:
                pass
        count += 1
        if count % 100 == 0:
            others_are_served(bench)
    return count


def run(bench, seconds):
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    resource.setrlimit(resource.RLIMIT_NOFILE, (min(max(soft, 2 * CONNECTIONS), hard), hard))
    bench.board("front", "vx2140", 50)
    bench.serve()
    bench.boards[0].start()
    until("the board is up", lambda: bench.up() == {"front": True})
    descriptors = lambda: len(os.listdir("/proc/%d/fd" % bench.server.pid))
    before = descriptors()
    for attack in (hosts, methods, shapes, crowd, viewers):
        attack(bench)
        others_are_served(bench)
    count = noise(bench, seconds)
    others_are_served(bench)
    until("all descriptors are closed", lambda: descriptors() <= before)
    until("no viewer is left", lambda: bench.metrics()["tessary_serve_viewers"] == 0)
    assert bench.up() == {"front": True}
    resident = bench.metrics()["tessary_serve_resident_bytes"]

    peers = [connect(bench) for _ in range(20)]
    for peer in peers:
        peer.sendall(request("/events"))
        head = peer.recv(65536)
        assert status(head) == 200, head
    begin = time.monotonic()
    code = bench.stop()
    passed = time.monotonic() - begin
    assert code == 0, "the server ended with %r: %s" % (code, open(bench.said).read())
    print("hostile: seed %d, %d noises, %.0f MiB resident, ended in %.0f ms with 20 viewers" %
          (SEED, count, resident / 1048576, passed * 1000))


shutil.rmtree(sys.argv[3], ignore_errors=True)
with Bench(*sys.argv[1:4]) as bench:
    run(bench, float(sys.argv[4]) if len(sys.argv) > 4 else 0)
