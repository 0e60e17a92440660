# SPDX-License-Identifier: MIT
"""One thread, one poll: the model server, the model client and the program's end are all waited for together."""

import heapq
import itertools
import select
import socket
import ssl
import struct
import time


class Loop:
    def __init__(self):
        self._poll = select.epoll()
        self._handlers = {}
        self._timers = []
        self._order = itertools.count()
        self.longest_gap = 0.0  # seconds for which nothing could be served, since somebody set this to 0
        self._served = time.monotonic()

    def watch(self, fd, handler, events=select.EPOLLIN):
        """Calls handler(events) when the descriptor is ready."""
        if fd in self._handlers:
            self._poll.modify(fd, events)
        else:
            self._poll.register(fd, events)
        self._handlers[fd] = handler

    def forget(self, fd):
        if self._handlers.pop(fd, None) is not None:
            self._poll.unregister(fd)

    def after(self, seconds, call):
        """Calls `call` once; the list that is returned is emptied to take it back."""
        timer = [call]
        heapq.heappush(self._timers, (time.monotonic() + seconds, next(self._order), timer))
        return timer

    def run(self, done, limit):
        """Serves until done() is true; False when that took longer than `limit` seconds."""
        end = time.monotonic() + limit
        while not done():
            now = time.monotonic()
            if now >= end:
                return False
            self.turn(end - now)
        return True

    def turn(self, longest):
        """Waits once, at most that long, and handles what has come."""
        now = time.monotonic()
        if self._timers:
            longest = min(longest, max(0.0, self._timers[0][0] - now))
        self._note_gap(now - self._served)
        ready = self._poll.poll(longest)
        self._served = time.monotonic()
        self._note_gap(self._served - now - longest)
        for fd, events in ready:
            handler = self._handlers.get(fd)
            if handler is not None:
                handler(events)
        now = time.monotonic()
        while self._timers and self._timers[0][0] <= now:
            timer = heapq.heappop(self._timers)[2]
            if timer:
                timer.pop()()

    def _note_gap(self, seconds):
        self.longest_gap = max(self.longest_gap, seconds)

    def close(self):
        self._poll.close()


class Wire:
    """One end of a connection. `receiver` has received(bytes) and closed()."""

    def __init__(self, loop, sock, receiver, tls=None):
        self.loop = loop
        self.sock = sock
        self.receiver = receiver
        self.open = True
        self._out = bytearray()
        self._finishing = False
        self._connected = True
        self._drip = None
        self._reading = True
        sock.setblocking(False)
        sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self._tls = None
        if tls is not None:
            self._in_bio, self._out_bio = ssl.MemoryBIO(), ssl.MemoryBIO()
            self._tls = tls.wrap_bio(self._in_bio, self._out_bio, server_side=True)
            self._shaken = False
            self._waiting_plain = bytearray()
        loop.watch(sock.fileno(), self._ready)

    # -- what its owner does -----------------------------------------------------------------
    def send(self, data):
        if not self.open or not data:
            return
        if self._tls is not None:
            self._waiting_plain += data
            self._work_tls()
        else:
            self._out += data
        self._write()

    def finish(self):
        """Closes when everything has been sent."""
        self._finishing = True
        self._write()

    def reset(self):
        """The other side sees "connection reset" instead of an end."""
        if self.open:
            self.sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            self.drop()

    def half_close(self):
        if self.open:
            try:
                self.sock.shutdown(socket.SHUT_WR)
            except OSError:
                self.drop()

    def drip(self, size, interval):
        """From here on, `size` bytes at a time."""
        self._drip = (size, interval)
        self.loop.watch(self.sock.fileno(), self._ready)
        self._drip_on()

    def stop_reading(self):
        self._reading = False
        self.loop.watch(self.sock.fileno(), self._ready, 0)

    def read_again(self):
        if self.open:
            self._reading = True
            self.loop.watch(self.sock.fileno(), self._ready)
            self.read()

    def drop(self):
        if self.open:
            self.open = False
            self.loop.forget(self.sock.fileno())
            self.sock.close()

    # -- bytes ---------------------------------------------------------------------------------
    def _drip_on(self):
        if not self.open:
            return
        size, interval = self._drip
        if self._out:
            try:
                sent = self.sock.send(self._out[:size])
                del self._out[:sent]
            except BlockingIOError:
                pass
            except OSError:
                self._lost()
                return
        elif self._finishing:
            self.drop()
            return
        self.loop.after(interval, self._drip_on)

    def _write(self):
        if not self.open or self._drip is not None:
            return
        while self._out:
            try:
                sent = self.sock.send(self._out)
            except BlockingIOError:
                break
            except OSError:
                self._lost()
                return
            del self._out[:sent]
        if self._out:
            self.loop.watch(self.sock.fileno(), self._ready,
                            select.EPOLLOUT | (select.EPOLLIN if self._reading else 0))
        elif self._finishing:
            self.drop()

    def _ready(self, events):
        if events & select.EPOLLOUT:
            self.loop.watch(self.sock.fileno(), self._ready, select.EPOLLIN if self._reading else 0)
            self._write()
        if self.open and events & ~select.EPOLLOUT:
            self.read()

    def read(self):
        """Takes what has come; also called to look without waiting."""
        while self.open:
            try:
                data = self.sock.recv(262144)
            except BlockingIOError:
                return
            except OSError:
                data = b""
            if not data:
                self._lost()
                return
            if self._tls is None:
                self.receiver.received(data)
            else:
                self._in_bio.write(data)
                self._work_tls()
                self._write()
            if len(data) < 262144:
                return

    def _work_tls(self):
        try:
            if not self._shaken:
                self._tls.do_handshake()
                self._shaken = True
            if self._waiting_plain:
                self._tls.write(self._waiting_plain)
                self._waiting_plain.clear()
            while True:
                data = self._tls.read(262144)
                if not data:
                    break
                self.receiver.received(data)
        except ssl.SSLWantReadError:
            pass
        except ssl.SSLError:
            self._out += self._out_bio.read()
            self._lost()
            return
        self._out += self._out_bio.read()

    def _lost(self):
        if self.open:
            self.drop()
            self.receiver.closed()
