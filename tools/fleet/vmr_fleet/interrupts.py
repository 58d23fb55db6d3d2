"""Ends in order when asked to by a signal."""
import os
import signal
import threading


class Interrupts:
    """SIGINT, SIGTERM and SIGHUP ask for an orderly end; nothing is raised, so that no cluster
    is left half closed. The terminal's go to all processes of it: they are blocked here, and
    therefore in all that is started from here, and waited for in a thread.

    asked      set when a signal has come
    to_undo    whether there is something to end in order; else a signal ends the program at
               once, whatever it waits for
    """

    BLOCKED = (signal.SIGINT, signal.SIGHUP)

    def __init__(self):
        self.asked, self.to_undo = threading.Event(), False
        signal.pthread_sigmask(signal.SIG_BLOCK, self.BLOCKED)
        signal.signal(signal.SIGTERM, lambda *_: self._ask())
        threading.Thread(target=self._wait, daemon=True).start()

    def _wait(self):
        while True:
            signal.sigwait(self.BLOCKED)
            self._ask()

    def _ask(self):
        self.asked.set()
        if not self.to_undo:
            os._exit(130)
