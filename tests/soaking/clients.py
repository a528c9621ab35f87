#!/usr/bin/env python3
"""One client of a console that soaks, driven by its standard input.

usage: clients.py KIND NODE NODE-KIND VELKARISCTL LIBVELKARIS

Each line on standard input is answered by one line:
    storm           work until the next line comes
    pause           stop; how many pieces of work were done, and how many failed, since the start
    lines FIRST END write the lines of these numbers; how many were acknowledged
It ends with its standard input.
"""

import array
import os
import select
import signal
import socket
import subprocess
import sys
import time

from library import Library

RETRY_SECONDS = 0.05  # while no console is there
MEBIBYTE = 1 << 20


def lineOf(kind, number):
    return f"{kind} line {number}"


class Client:
    def __init__(self, node, nodeKind, ctl, library):
        self.node = node
        self.nodeKind = nodeKind
        self.ctl = ctl
        self.library = Library(library)
        self.turn = 0

    def work(self):
        """One piece of work. False, or an OSError, when it failed."""
        raise NotImplementedError

    def writeLine(self, text):
        """True when it was acknowledged."""
        raise NotImplementedError


class Redirect(Client):
    """A shell that redirects each line to the node; a socket takes velkarisctl for that."""

    LOOP = """while IFS= read -r text; do
        if %s; then echo written; else echo failed; fi
    done"""

    def __init__(self, *arguments):
        super().__init__(*arguments)
        how = {"fuse": 'printf "%s\\n" "$text" 2>/dev/null >"$0"',
               "socket": '"$1" --quiet --device "$0" write "$text"'}[self.nodeKind]
        self.shell = subprocess.Popen(["/bin/sh", "-c", self.LOOP.replace("%s", how, 1), self.node,
                                       self.ctl], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                      stderr=subprocess.DEVNULL, text=True, bufsize=1)

    def work(self):
        return self.writeLine(f"stormy {self.turn}")

    def writeLine(self, text):
        self.shell.stdin.write(text + "\n")
        return self.shell.stdout.readline() == "written\n"


class Linked(Client):
    """A program that is linked with the library; now and then it writes much at once."""

    def work(self):
        lines = 1 if self.turn % 10 else 1000
        with self.library.open(self.node) as console:
            console.write(b"".join(b"stormy %d\n" % number for number in range(lines)))
        return True

    def writeLine(self, text):
        with self.library.open(self.node) as console:
            console.write(text.encode())
        return True


class Commands(Client):
    """Commands, of which none adds a row."""

    def work(self):
        words = [["status", f"soaking, turn {self.turn}"], ["percent", str(self.turn % 101)],
                 ["update", "soaked", str(self.turn % 101)]][self.turn % 3]
        return subprocess.run([self.ctl, "--quiet", "--device", self.node, *words],
                              stderr=subprocess.DEVNULL).returncode == 0


class Crowd(Client):
    """Many that open the node, one of which asks something, and close it."""

    SIZE = 50

    def work(self):
        opened = []
        try:
            for _ in range(self.SIZE):
                opened.append(self.library.open(self.node))
            opened[-1].check()
        finally:
            for console in opened:
                console.close()
        return True


class Hostile(Client):
    """What no client should send, and what no client should leave behind."""

    def work(self):
        attacks = [self.bytesThatDrawNothing, self.erasedFlash, self.emptyRows, self.oneHugeWrite,
                   self.deathInTheMiddle, self.idleConnections]
        attacks += {"fuse": [self.callsOfAFile], "socket": [self.passedDescriptors]}[self.nodeKind]
        attacks[self.turn % len(attacks)]()
        return True

    def send(self, data):
        if self.nodeKind == "fuse":
            with open(self.node, "r+b", buffering=0) as node:
                node.write(data)
        else:
            with self.library.open(self.node) as console:
                console.write(data)

    def bytesThatDrawNothing(self):
        self.send(b"\x80" * (4 * MEBIBYTE))

    def erasedFlash(self):
        self.send(b"\xff" * (4 * MEBIBYTE))

    def emptyRows(self):
        self.send(b"\n" * (11 * MEBIBYTE))

    def oneHugeWrite(self):
        self.send(b"x" * (32 * MEBIBYTE))

    def deathInTheMiddle(self):
        child = os.fork()
        if child == 0:
            try:
                self.send(b"dying " * (10 * MEBIBYTE))
            finally:
                os._exit(0)
        time.sleep(0.02)
        os.kill(child, signal.SIGKILL)
        os.waitpid(child, 0)

    def idleConnections(self):
        opened = []
        try:
            for _ in range(200):
                opened.append(self.library.open(self.node))
        finally:
            for console in opened:
                console.close()

    def callsOfAFile(self):
        with open(self.node, "r+b", buffering=0) as node:
            for call in [lambda: os.pwrite(node.fileno(), b"positioned", 1 << 40),
                         lambda: os.ftruncate(node.fileno(), 1 << 40),
                         lambda: os.lseek(node.fileno(), 1 << 40, os.SEEK_SET),
                         lambda: os.writev(node.fileno(), [b"a"] * 1000)]:
                try:
                    call()
                except OSError:
                    pass  # refusing is an answer

    def passedDescriptors(self):
        with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as connection, \
                open(os.devnull) as nothing:
            connection.settimeout(1)
            connection.connect(self.node)
            passed = array.array("i", [nothing.fileno()] * 200)
            try:
                connection.sendmsg([b"?"], [(socket.SOL_SOCKET, socket.SCM_RIGHTS, passed)])
            except OSError:
                pass  # it may hang up on such a client


KINDS = {"redirect": Redirect, "linked": Linked, "commands": Commands, "crowd": Crowd,
         "hostile": Hostile}


class Driven:
    def __init__(self, kind, client):
        self.kind = kind
        self.client = client
        self.done = self.failed = 0

    def workOnce(self):
        try:
            succeeded = self.client.work()
        except OSError:
            succeeded = False
        self.client.turn += 1
        self.done += bool(succeeded)
        self.failed += not succeeded
        if not succeeded:
            time.sleep(RETRY_SECONDS)

    def writeLines(self, first, end):
        written = 0
        for number in range(first, end):
            try:
                written += self.client.writeLine(lineOf(self.kind, number))
            except OSError:
                pass
        return written

    def run(self):
        storms = False
        # Unbuffered, so that what was sent is what select() sees.
        with open(sys.stdin.fileno(), "rb", buffering=0) as orders:
            while True:
                if storms and not select.select([orders], [], [], 0)[0]:
                    self.workOnce()
                    continue
                order, *numbers = orders.readline().decode().split() or [""]
                if not order:
                    return
                storms = order == "storm"
                answer = {"storm": lambda: "storming",
                          "pause": lambda: f"{self.done} {self.failed}",
                          "lines": lambda: self.writeLines(*map(int, numbers))}[order]()
                print(answer, flush=True)


if __name__ == "__main__":
    Driven(sys.argv[1], KINDS[sys.argv[1]](*sys.argv[2:])).run()
