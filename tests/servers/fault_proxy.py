#!/usr/bin/env python3
"""A TCP proxy on 127.0.0.1 that breaks connections on purpose.

    fault_proxy.py --target 127.0.0.1:8080 [--port 0] [--mode reset|close|stall|status|pass]
                   [--direction down|up] [--after BYTES] [--connections K] [--faults N]
                   [--status CODE] [--retry-after S] [--seconds S] [--port-file F]

Forwards every connection to the target. The first K connections (all when K is -1), and with
--seconds only those accepted within S seconds of the start, are broken
once BYTES bytes have passed in the chosen direction (down: server to client, up: client to
server): "reset" closes both sides with a TCP reset, "close" closes them in order (the peer sees
a short answer), "stall" stops forwarding and keeps the connection open, "pass" never breaks
anything. With --faults only the first N connections that reach BYTES are broken, whichever they
are. "status" answers an HTTP request itself, once its head and body have arrived, with CODE and
--body (empty when not given, of --content-type), and "Retry-After: S" when given, and closes the connection; the server never sees
it. Prints the port it listens on (and writes it to --port-file) once it accepts connections,
then "connection" for each connection it accepts. Stops on SIGTERM or when its parent closes stdin.
"""
import argparse
import os
import select
import signal
import socket
import struct
import sys
import threading
import time

def parse():
    p = argparse.ArgumentParser()
    p.add_argument("--target", required=True)
    p.add_argument("--port", type=int, default=0)
    p.add_argument("--mode", choices=["reset", "close", "stall", "status", "pass"], default="reset")
    p.add_argument("--direction", choices=["down", "up"], default="down")
    p.add_argument("--after", type=int, default=0)
    p.add_argument("--connections", type=int, default=1)
    p.add_argument("--faults", type=int, default=-1)
    p.add_argument("--status", type=int, default=503)
    p.add_argument("--retry-after", type=int, default=-1)
    p.add_argument("--body", default="")
    p.add_argument("--content-type", default="")
    p.add_argument("--seconds", type=float, default=-1)
    p.add_argument("--port-file")
    return p.parse_args()

def reset(sock):
    try:
        sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        sock.close()
    except OSError:
        pass

class Budget:
    """The faults left to make, shared by all connections; -1 is without end."""
    def __init__(self, faults):
        self.left = faults
        self.lock = threading.Lock()

    def take(self):
        with self.lock:
            if self.left == 0:
                return False
            if self.left > 0:
                self.left -= 1
            return True

REASONS = {429: "Too Many Requests", 500: "Internal Server Error", 502: "Bad Gateway",
           503: "Service Unavailable", 504: "Gateway Timeout"}

def read_request(client):
    """Reads one request head and its body (by Content-Length or chunks); False when the client
    went away first."""
    data = b""
    while b"\r\n\r\n" not in data:
        chunk = client.recv(65536)
        if not chunk:
            return False
        data += chunk
    head, rest = data.split(b"\r\n\r\n", 1)
    fields = {}
    for line in head.split(b"\r\n")[1:]:
        name, _, value = line.partition(b":")
        fields[name.strip().lower()] = value.strip()
    if fields.get(b"expect", b"").lower() == b"100-continue":
        return True  # the final answer comes instead of the 100, and the body is never sent
    if fields.get(b"transfer-encoding", b"").lower() == b"chunked":
        while not rest.endswith(b"0\r\n\r\n"):
            chunk = client.recv(65536)
            if not chunk:
                return False
            rest += chunk
        return True
    left = int(fields.get(b"content-length", b"0") or b"0") - len(rest)
    while left > 0:
        chunk = client.recv(min(left, 65536))
        if not chunk:
            return False
        left -= len(chunk)
    return True

def answer_status(client, args):
    try:
        if read_request(client):
            reason = REASONS.get(args.status, "Error")
            body = args.body.encode()
            extra = f"Retry-After: {args.retry_after}\r\n" if args.retry_after >= 0 else ""
            if args.content_type:
                extra += f"Content-Type: {args.content_type}\r\n"
            client.sendall(f"HTTP/1.1 {args.status} {reason}\r\n{extra}Content-Length: {len(body)}\r\n"
                           "Connection: close\r\n\r\n".encode() + body)
    except OSError:
        pass
    finally:
        client.close()

def serve(client, target, faulty, args, stop, budget):
    if faulty and args.mode == "status":
        if budget.take():
            answer_status(client, args)
            return
        faulty = False
    try:
        server = socket.create_connection(target)
    except OSError:
        reset(client)
        return
    passed = 0
    broken = False
    pair = {client: server, server: client}
    watched = client if args.direction == "up" else server
    try:
        while not stop.is_set():
            readable, _, _ = select.select(list(pair), [], [], 0.5)
            for sock in readable:
                data = sock.recv(65536)
                if not data:
                    return
                if broken:
                    continue  # stalled: swallow, never forward
                if faulty and sock is watched and passed + len(data) > args.after and budget.take():
                    keep = args.after - passed
                    if keep > 0:
                        pair[sock].sendall(data[:keep])
                    if args.mode == "reset":
                        reset(client)
                        reset(server)
                        return
                    if args.mode == "close":
                        return
                    if args.mode == "stall":
                        broken = True
                        continue
                if sock is watched:
                    passed += len(data)
                pair[sock].sendall(data)
    except OSError:
        pass
    finally:
        for s in (client, server):
            try:
                s.close()
            except OSError:
                pass

def main():
    args = parse()
    host, port = args.target.rsplit(":", 1)
    target = (host, int(port))
    listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.bind(("127.0.0.1", args.port))
    listener.listen(64)
    bound = listener.getsockname()[1]
    if args.port_file:
        tmp = args.port_file + ".tmp"
        with open(tmp, "w") as f:
            f.write(f"{bound}\n")
        os.replace(tmp, args.port_file)
    print(bound, flush=True)

    stop = threading.Event()
    released = threading.Event()
    signal.signal(signal.SIGTERM, lambda *_: stop.set())

    def commands():
        for line in sys.stdin:
            if line.strip() == "pass":
                released.set()
        stop.set()  # ends with its parent: a test that dies leaves no proxy behind

    threading.Thread(target=commands, daemon=True).start()
    count = 0
    budget = Budget(args.faults)
    started = time.monotonic()
    while not stop.is_set():
        readable, _, _ = select.select([listener], [], [], 0.2)
        if not readable:
            continue
        client, _ = listener.accept()
        faulty = args.mode != "pass" and (args.connections < 0 or count < args.connections)
        if released.is_set() or (args.seconds >= 0 and time.monotonic() - started > args.seconds):
            faulty = False
        count += 1
        print("connection", flush=True)
        threading.Thread(target=serve, args=(client, target, faulty, args, stop, budget),
                         daemon=True).start()
    listener.close()

if __name__ == "__main__":
    main()
