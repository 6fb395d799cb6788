"""The whole story on a virtual board, as its console tells it: usage: story.py VBOARD PROGRAMS BOARD.

The expected transcript is tests/data/story/BOARD.txt. Lines with the same indent come from one
process, or one thread of it, in this order. What is indented differently runs beside it; it
begins after the line above it, which causes it, and from then on nothing orders the two. The
launcher's polls and the lines about time and load are left out: when they come is not the same
twice.
"""
import ctypes
import os
import re
import signal
import subprocess
import sys
import tempfile
import threading

LEFT_OUT = re.compile(r'quillon is running|LIBDVR : CPU states|recorder: status|'
                      r'LIBDVR : \d+-\d+-\d+, today|LIBDVR : McuProc = ')
# What tells the story besides the console.
EVENTS = re.compile(r'\d\] (power: on|start: |watchdog: (stopped|not fed)|exit: status)')
MARK = ' ' * 14 + '|  '
PATIENCE = 100  # seconds; only a story that stops waits so long


class Story:
    def __init__(self, text):
        self.tracks, self.causes = {}, {}
        above = None
        for line in text.splitlines():
            words = line.lstrip(' ')
            indent = len(line) - len(words)
            self.causes.setdefault(indent, above)
            self.tracks.setdefault(indent, []).append(words)
            above = indent, len(self.tracks[indent])
        # How far each track may have been told; several ways may lead to the same lines.
        self.states = [dict.fromkeys(self.tracks, 0)]

    def hear(self, line):
        """Goes on by a line; false when it does not belong here."""
        states = []
        for state in self.states:
            for indent, track in self.tracks.items():
                cause, count = self.causes[indent] or (indent, 0)
                if track[state[indent]:][:1] == [line] and state[cause] >= count:
                    states.append({**state, indent: state[indent] + 1})
        self.states = [state for i, state in enumerate(states) if state not in states[:i]]
        return bool(self.states)

    def ended(self):
        return any(all(len(track) == state[indent] for indent, track in self.tracks.items())
                   for state in self.states)


def heard(line):
    """A line of the story in what vboard shows, or None."""
    if line.startswith(MARK) and not LEFT_OUT.match(line[len(MARK):]):
        return line[len(MARK):]
    return '* ' + line.split('] ', 1)[1] if EVENTS.search(line) else None


def die_with_parent():
    ctypes.CDLL(None).prctl(1, signal.SIGTERM)


def main(vboard, programs, name):
    source = os.path.dirname(os.path.abspath(__file__))
    with open('%s/data/story/%s.txt' % (source, name)) as file:
        story = Story(file.read())
    told = []
    with tempfile.TemporaryDirectory() as folder, subprocess.Popen(
            [vboard, '--folder', folder, '--programs', programs, 'run',
             '%s/../boards/%s.toml' % (source, name), '--speed', 'free', '--stay',
             '--patience', str(PATIENCE)],
            stdout=subprocess.PIPE, text=True, errors='replace', preexec_fn=die_with_parent) as board:
        patience = threading.Timer(PATIENCE, board.terminate)
        patience.start()
        for line in board.stdout:
            line = heard(line.rstrip('\n'))
            if line is None:
                continue
            told.append(line)
            if not story.hear(line) or story.ended():
                break
        patience.cancel()
        board.terminate()
    if story.ended():
        return 0
    print(*told, sep='\n')
    print('the last of these lines does not belong here, or lines are missing after it')
    return 1


sys.exit(main(*sys.argv[1:]))
