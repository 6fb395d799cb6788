"""What the shared library shows, against the lists in abi/: usage: exports.py LIBRARY ARCHIVE, and
exports.py LIBRARY --record VERSION for the list of a release. The build has to have debug information.

Applications that were linked with a release go on with every later one: so no name of it goes, none
changes its type, and its node of abi/libsys.map stays as it is. What is new stands in a node of its own.
"""
import glob
import os
import re
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
# What an application sees: nothing of the build, and no type that no public header has.
DESCRIBE = ['abidw', '--no-corpus-path', '--no-comp-dir-path', '--no-show-locs', '--no-elf-needed',
            '--no-parameter-names', '--exported-interfaces-only', '--drop-private-types',
            '--headers-dir', os.path.join(ROOT, 'include/libsys')]


def version(text):
    return [int(number) for number in text.split('.')]


def listed():
    """The names of abi/libsys.map by the version of their node."""
    with open(os.path.join(ROOT, 'abi/libsys.map')) as file:
        nodes = re.findall(r'LIBSYS_([\d.]+) \{\s*global:(.*?)(?:local:|\})', file.read(), re.DOTALL)
    return {number: re.findall(r'(\w+);', names) for number, names in nodes}


def marked(archive):
    """What the headers mark with LIBSYS_API: all else is compiled as hidden."""
    out = subprocess.run(['readelf', '-W', '--symbols', archive], check=True, capture_output=True,
                         text=True).stdout
    columns = [line.split() for line in out.splitlines()]
    return {c[7] for c in columns if len(c) == 8 and c[4:6] == ['GLOBAL', 'DEFAULT'] and c[6] != 'UND'
            and not c[7].startswith('__odr_asan.')}


def releases():
    """The lists of the releases by version, the latest first."""
    names = glob.glob(os.path.join(ROOT, 'abi/libsys-*.xml'))
    return sorted(((version(re.search(r'-([\d.]+)\.xml$', name)[1]), name) for name in names), reverse=True)


def faults(archive, release):
    """What the version script says otherwise than the headers or the last release."""
    nodes, (number, path) = listed(), release
    names = [name for node in nodes.values() for name in node]
    with open(path) as file:
        released = set(re.findall(r"<elf-symbol name='(\w+)'", file.read()))
    old = [name for node in nodes for name in nodes[node] if version(node) <= number]
    shown = marked(archive)
    return [
        ('in abi/libsys.map twice', [name for name in set(names) if names.count(name) > 1]),
        ('marked with LIBSYS_API, but not in abi/libsys.map', shown - set(names)),
        ('in abi/libsys.map, but not marked with LIBSYS_API', set(names) - shown),
        ('in the last release, but no longer in its nodes of abi/libsys.map', released - set(old)),
        ('not in the last release, but in its nodes of abi/libsys.map', set(old) - released),
    ]


def check(library, archive):
    release = releases()[0]
    red = False
    for what, names in faults(archive, release):
        if names:
            red = True
            print(what + ':', *sorted(names))
    with tempfile.TemporaryDirectory() as folder:
        now = os.path.join(folder, 'now.xml')
        subprocess.run(DESCRIBE + ['--out-file', now, library], check=True)
        status = subprocess.run(['abidiff', '--no-added-syms', release[1], now]).returncode
    return red or status != 0


def main(library, *words):
    if len(words) == 1:
        return check(library, words[0])
    path = os.path.join(ROOT, 'abi/libsys-%s.xml' % words[1])
    return subprocess.run(DESCRIBE + ['--out-file', path, library]).returncode


if __name__ == '__main__':
    sys.exit(main(*sys.argv[1:]))
