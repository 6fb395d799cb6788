"""How many boards run beside each other: usage: boards.py VBOARD [MOST].

Switches on one board after the other, at a board second a second, each in a folder of its own, and
looks at all of them when there are 1, 2, 8, 32 and 128 (or up to MOST).
"""
import os
import re
import subprocess
import sys
import tempfile
import time

COUNTS = (1, 2, 8, 32, 128)
SECONDS = 10
PATIENCE = 120
# What a board does, its name, and what its transcript has once it is up.
BOARDS = (('the launcher idles', 'idle', 'sleep: 100 s'),
          ('the example recorder looks at the board every second', 'direct', 'recorder: started'))


def read(path):
    try:
        with open(path, errors='replace') as file:
            return file.read()
    except OSError:
        return ''  # the process has just ended


def tree(process):
    """The numbers of a process and its descendants."""
    numbers = [process]
    for number in numbers:
        for thread in os.listdir('/proc/%d/task' % number):
            numbers += map(int, read('/proc/%d/task/%s/children' % (number, thread)).split())
    return numbers


class Board:
    def __init__(self, vboard, work, number, name, up):
        self.command = [vboard, '--folder', '%s/%d' % (work, number)]
        transcript = '%s/%d.txt' % (work, number)
        start = time.monotonic()
        with open(transcript, 'w') as file:
            self.process = subprocess.Popen(self.command + ['run', name, '--stay'], stdout=file,
                                            stderr=subprocess.STDOUT)
        while up not in read(transcript):
            if self.process.poll() is not None or time.monotonic() - start > PATIENCE:
                self.process.kill()
                sys.exit('board %d is not up:\n%s' % (number, read(transcript)))
            time.sleep(0.001)
        self.start = time.monotonic() - start

    def time(self):
        """Seconds of the board and of the processor that it has had."""
        state = subprocess.run(self.command + ['state'], check=True, capture_output=True, text=True).stdout
        used = sum(int(read('/proc/%d/task/%s/schedstat' % (number, thread)).split()[0]) / 1e9
                   for number in tree(self.process.pid) for thread in os.listdir('/proc/%d/task' % number))
        return float(re.search(r'time +([\d.]+)', state)[1]), used

    def memory(self):
        """MiB of its own, and its share of what it has in common with others."""
        texts = [read('/proc/%d/smaps_rollup' % number) for number in tree(self.process.pid)]
        return sum(int(kib) for text in texts for kib in re.findall(r'(?m)^Pss: +(\d+)', text)) / 1024


def look(boards):
    before = [board.time() for board in boards]
    start = time.monotonic()
    time.sleep(SECONDS)
    after = [board.time() for board in boards]
    passed = time.monotonic() - start
    seconds, used = (sum(b[i] - a[i] for a, b in zip(before, after)) for i in (0, 1))
    print('| %d | %.1f ms | %.2f | %.1f MiB | %.0f ms |' %
          (len(boards), 1000 * used / seconds, seconds / passed / len(boards),
           sum(board.memory() for board in boards) / len(boards), 1000 * boards[-1].start), flush=True)


def main(vboard, most='128'):
    for what, name, up in BOARDS:
        print('\n%s:\n' % what)
        print('| boards | processor time a board second | board seconds a second | memory a board '
              '| start of the last |\n|---|---|---|---|---|', flush=True)
        boards = []
        with tempfile.TemporaryDirectory(prefix='vboards-') as work:
            try:
                for count in COUNTS:
                    if count > int(most):
                        break
                    while len(boards) < count:
                        boards.append(Board(vboard, work, len(boards), name, up))
                    look(boards)
            finally:
                for board in boards:
                    board.process.terminate()
                for board in boards:
                    board.process.wait(PATIENCE)


if __name__ == '__main__':
    main(*sys.argv[1:])
