"""A relay on loopback in a process of its own, which makes many slow targets of few simulated ones over UDP."""

import heapq
import itertools
import multiprocessing
import selectors
import socket
import time

LONGEST_IDLE = 20  # seconds until a client counts as gone


class SlowAnswers:
    """Gives `count` ports; each hands on to one of the machines in turn, whose answers take `seconds` longer."""

    def __init__(self, machines, count, seconds):
        self._seconds = seconds
        self._fronts = [(self._bound(), machines[number % len(machines)]) for number in range(count)]
        self.ports = [front.getsockname()[1] for front, _ in self._fronts]
        self._process = multiprocessing.get_context("fork").Process(target=self._run, daemon=True)
        self._process.start()
        self.pid = self._process.pid
        for front, _ in self._fronts:
            front.close()

    @staticmethod
    def _bound():
        front = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        front.bind(("127.0.0.1", 0))
        front.setblocking(False)
        return front

    def stop(self):
        self._process.kill()
        self._process.join()

    def _run(self):
        self._selector = selectors.DefaultSelector()
        self._backs = {}  # of a client at a front: the socket to its machine, and when it was last used
        self._answers = []
        self._order = itertools.count()
        for front, machine in self._fronts:
            self._selector.register(front, selectors.EVENT_READ, (self._ask, front, machine))
        swept = time.monotonic()
        while True:
            wait = self._answers[0][0] - time.monotonic() if self._answers else 1
            for key, _ in self._selector.select(max(wait, 0)):
                self._take(*key.data)
            self._deliver()
            if time.monotonic() - swept > 1:
                swept = time.monotonic()
                self._forget(swept - LONGEST_IDLE)

    @staticmethod
    def _take(handle, *arguments):
        try:
            handle(*arguments)
        except OSError:
            pass  # the other end has gone

    def _ask(self, front, machine):
        data, client = front.recvfrom(65536)
        back, _ = self._backs.get((front, client), (None, 0))
        if back is None:
            back = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            back.setblocking(False)
            back.connect(("127.0.0.1", machine))
            self._selector.register(back, selectors.EVENT_READ, (self._hold, back, front, client))
        self._backs[front, client] = back, time.monotonic()
        back.send(data)

    def _hold(self, back, front, client):
        data = back.recv(65536)
        heapq.heappush(self._answers, (time.monotonic() + self._seconds, next(self._order), front, client, data))

    def _deliver(self):
        while self._answers and self._answers[0][0] <= time.monotonic():
            _, _, front, client, data = heapq.heappop(self._answers)
            self._take(front.sendto, data, client)

    def _forget(self, before):
        for key in [key for key, (_, used) in self._backs.items() if used < before]:
            back, _ = self._backs.pop(key)
            self._selector.unregister(back)
            back.close()
