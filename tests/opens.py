"""Checks how the product opens what it opens: usage: opens.py SOURCES

Everything is close-on-exec, so that the application inherits its standard descriptors and nothing
else. The library opens through Base, which keeps devices off these; the programs see to them first.
"""
import glob
import os
import re
import sys

LIBRARY = 'Base', 'Disk', 'Flash', 'Misc', 'Network', 'System', 'Uart'
PROGRAMS = 'launcher', 'boardctl'
# What a descriptor comes from, with its statement's rest.
OPENING = re.compile(r'(?<![\w:.>])(f?open|creat|dup|socket|accept4?|pipe2?|eventfd|popen|mkstemp|fcntl)'
                     r'\(([^;]*);')
CLOSED_ON_EXEC = re.compile(r'CLOEXEC|"[rwa]\+?e"|, mode\)')


def faults(sources, module):
    for path in glob.glob(os.path.join(sources, module, '**', '*.cpp'), recursive=True):
        with open(path) as file:
            found = OPENING.findall(file.read())
        for call, rest in found:
            if call == 'fcntl' and 'F_DUPFD' not in rest:
                continue
            if not CLOSED_ON_EXEC.search(rest):
                yield '%s: %s without close-on-exec' % (path, call)
            if call in ('open', 'fopen', 'creat', 'dup') and module in LIBRARY[1:]:
                yield '%s: %s, and not through Base' % (path, call)


def main(sources):
    found = [fault for module in LIBRARY + PROGRAMS for fault in faults(sources, module)]
    for fault in found:
        print(fault)
    return 1 if found else 0


if __name__ == '__main__':
    sys.exit(main(*sys.argv[1:]))
