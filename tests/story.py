"""The whole story on a virtual board, as its console tells it: usage: story.py VBOARD PROGRAMS BOARD.

The expected transcript is tests/data/story/BOARD.txt. The launcher's polls, released keys
and the lines about time and load are left out: when they come is not the same twice.
"""
import os
import re
import subprocess
import sys
import tempfile

LEFT_OUT = re.compile(r'quillon is running|LIBDVR : CPU states|recorder: status|'
                      r'LIBDVR : \d+-\d+-\d+, today|LIBDVR : McuProc = |'
                      r'recorder: key .* 00$')
# What tells the story besides the console.
EVENTS = re.compile(r'\d\] (power: on|start: |watchdog: (stopped|not fed)|exit: status)')
MARK = ' ' * 14 + '|  '


def main(vboard, programs, name):
    source = os.path.dirname(os.path.abspath(__file__))
    with tempfile.TemporaryDirectory() as folder:
        result = subprocess.run(
            [vboard, '--folder', folder, '--programs', programs, 'run',
             '%s/../boards/%s.toml' % (source, name), '--speed', '20'],
            capture_output=True, text=True, errors='replace')
    told = []
    for line in result.stdout.splitlines():
        if line.startswith(MARK) and not LEFT_OUT.match(line[len(MARK):]):
            told.append(line[len(MARK):])
        elif EVENTS.search(line):
            told.append('* ' + line.split('] ', 1)[1])
    with open('%s/data/story/%s.txt' % (source, name)) as file:
        expected = file.read().splitlines()
    if result.returncode == 0 and told[:len(expected)] == expected:
        return 0
    print(*told, sep='\n')
    print(result.stderr)
    return 1


sys.exit(main(*sys.argv[1:]))
