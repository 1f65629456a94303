"""A command of the tool that runs until it is ended, for tests that talk to it meanwhile."""
import queue
import signal
import subprocess
import threading

PATIENCE = 30


class Running:
    """Its lines, as they come."""

    def __init__(self, command, environment, folder=None, stdin=None):
        self.process = subprocess.Popen(command, stdin=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        env=environment, cwd=folder, text=True)
        self.lines = queue.Queue()
        self.reader = threading.Thread(target=self.read)
        self.reader.start()

    def read(self):
        for line in self.process.stdout:
            self.lines.put(line.rstrip("\n"))

    def next(self):
        try:
            return self.lines.get(timeout=PATIENCE)
        except queue.Empty:
            return "(nothing came)"

    def say(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()

    def end(self, how=signal.SIGTERM):
        if self.process.poll() is None:
            self.process.send_signal(how)
        return self.close()

    def close(self):
        """Waits for its end; the exit code. What it said of errors is in `errors` then."""
        try:
            code = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            code = "hangs"
        self.reader.join()
        self.process.stdout.close()
        if self.process.stdin is not None:
            self.process.stdin.close()
        self.errors = self.process.stderr.read()
        self.process.stderr.close()
        return code
