#!/usr/bin/env python3
"""Searches the log lines that the test processes kept (info level and above, traces included)
for the suite's credentials: the test accounts' secrets and passwords, every private key that
the test servers made, and tokens of the shapes our test servers and Swift/Keystone issue.

Usage: scan_secrets.py RUN_DIR   (the test servers' run folder; logs are in RUN_DIR/logs)
Exit 1 naming file, line and what was found; also when no log was kept at all."""
import os
import re
import sys

# Secrets the suite signs in with (rows and launchers).
FIXED = [
    "amazon-test-secret/Key+0123456789abcdefghij",
    "Eby8vdM02xNOcqFlqUwJPLlmEtlCDXJ1OUzFT50uSRZ6IFsuFq2UVErCz4I6tq/K1SZFPTOtr/KBHBeksoGMGw==",
    "dGVzdC1zZWNyZXQtb2YtdGhlLWdjcy1zZXJ2ZXI=",
    "K000xxxxxxxxxxxxxxxxxxxxxxxxxxx",
    "1//test-refresh-token",
    "cloudtest-pw",
    "testerpw",
    "adminpw",
]
# Short secrets that are also plain words: only as a value, after "=", ":" or a quote.
WORDS = ["testing", "S3RVER"]
# Issued tokens: Swift's own, Keystone's Fernet tokens, our B2 and Google servers'.
TOKENS = [r"AUTH_tk[0-9a-f]{32}", r"gAAAAA[\w-]{40,}", r"\b4_[\w-]{32}", r"ya29\.[\w-]{40,}"]


def private_key_lines(run):
    """Body lines of every private key under the run folder (PEM and OpenSSH)."""
    found = set()
    for folder, _, files in os.walk(run):
        if os.path.basename(folder) == "logs":
            continue
        for name in files:
            path = os.path.join(folder, name)
            try:
                with open(path, "rb") as f:
                    text = f.read(200000).decode("ascii", "replace")
            except OSError:
                continue
            inside = False
            for line in text.splitlines():
                if "PRIVATE KEY-----" in line:
                    inside = "BEGIN" in line
                elif inside and len(line.strip()) >= 40:
                    found.add(line.strip())
    return found


def main():
    run = sys.argv[1]
    logs = os.path.join(run, "logs")
    files = sorted(os.listdir(logs)) if os.path.isdir(logs) else []
    if not files:
        print("no log was kept in %s: nothing could be searched" % logs)
        return 1
    literal = FIXED + sorted(private_key_lines(run))
    patterns = [re.compile(t) for t in TOKENS] + [
        re.compile(r"""[=:'"]\s*%s\b""" % re.escape(w)) for w in WORDS]
    leaks, lines = 0, 0
    for name in files:
        with open(os.path.join(logs, name), encoding="utf-8", errors="replace") as f:
            for number, line in enumerate(f, 1):
                lines += 1
                hits = [s for s in literal if s in line] + [p.pattern for p in patterns if p.search(line)]
                for hit in hits:
                    leaks += 1
                    print("%s:%d: %s in: %s" % (name, number, hit[:24], line.strip()[:300]))
    print("%d log files, %d lines, %d private-key lines and %d other secrets searched: %d found"
          % (len(files), lines, len(literal) - len(FIXED), len(FIXED) + len(patterns), leaks))
    return 1 if leaks else 0


if __name__ == "__main__":
    sys.exit(main())
