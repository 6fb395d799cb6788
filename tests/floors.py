"""Checks that modules use only what stands below them: usage: floors.py SOURCES BUILD

The floors, and the places where settled behaviour leads upwards, are the tables of docs/modules.md.
Includes are read from the sources, calls from the object files. The programs take nothing from the
library but what its headers declare, and that is what the shared library shows.
"""
import glob
import os
import re
import subprocess
import sys


def tables(page):
    """The floor of each module, the module of each public header, the ways up."""
    floors, headers, ways = {}, {}, set()
    for line in open(page):
        cells = [cell.strip() for cell in line.strip().strip('|').split('|')]
        names = re.findall(r'`([^`]+)`', line)
        if len(cells) == 4 and cells[0].isdigit():
            module = names[0].rstrip('/')
            floors[module] = int(cells[0])
            headers.update((header, module) for header in re.findall(r'`(\w+\.h)`', cells[3]))
        elif len(cells) == 3 and len(names) >= 2:
            ways.add((names[0], names[1].rstrip('/')))
    return floors, headers, ways


class Floors:
    def __init__(self, sources, build):
        self.sources, self.build = sources, build
        self.floors, self.headers, self.ways = tables(os.path.join(sources, 'docs/modules.md'))
        self.faults, self.unused = [], set(self.ways)

    def module_of(self, path):
        fits = [module for module in self.floors if path.startswith(module + '/')]
        return max(fits, key=len, default=None)

    def files(self, *endings):
        for module in self.floors:
            for path in glob.glob(os.path.join(self.sources, module, '**'), recursive=True):
                if path.endswith(endings):
                    yield os.path.relpath(path, self.sources)

    def use(self, path, user, used, what):
        """A file of a module uses something of another one."""
        if used in (user, None) or self.floors[used] < self.floors[user]:
            return
        self.unused.discard((path, used))
        if (path, used) not in self.ways:
            self.faults.append('%s (floor %d) uses %s of %s (floor %d)' % (
                path, self.floors[user], what, used, self.floors[used]))

    def check_includes(self):
        top = max(self.floors.values())
        for path in self.files('.cpp', '.h', '.c'):
            user = self.module_of(path)
            for text in re.findall(r'(?m)^#include ["<]([^">]+)', open(
                    os.path.join(self.sources, path)).read()):
                if text.startswith('libsys/'):
                    self.use(path, user, self.headers.get(text[len('libsys/'):]), text)
                    continue
                used = self.module_of(text)
                if self.floors[user] == top and used not in (user, None):
                    self.faults.append('%s includes %s, which is no public header' % (path, text))
                self.use(path, user, used, text)

    def symbols(self, path, *options):
        out = subprocess.run(['nm', *options, path], check=True, capture_output=True, text=True).stdout
        words = [line.split() for line in out.splitlines()]
        # Weak ones are inline functions of headers.
        defined = {each[-1] for each in words if len(each) == 3 and each[1] in 'TDBR'}
        return defined, {each[-1] for each in words if each[-2:-1] == ['U']}

    def objects(self, folder):
        for path in glob.glob(os.path.join(self.build, folder, '**', '*.o'), recursive=True):
            yield os.path.relpath(path, os.path.join(self.build, folder))[:-len('.o')], path

    def check_symbols(self):
        library, owner = {}, {}
        for name, path in self.objects('CMakeFiles/libsys_objects.dir'):
            library[name] = self.symbols(path)
            owner.update((symbol, self.module_of(name)) for symbol in library[name][0])
        assert library, 'no object files below ' + self.build
        for name, (_, undefined) in library.items():
            for symbol in undefined & set(owner):
                self.use(name, self.module_of(name), owner[symbol], symbol)
        shared = os.path.join(self.build, 'lib/libsys.so')
        exported = self.symbols(shared, '-D', '--without-symbol-versions')[0]
        self.check_exports(exported)
        for program, target in (('launcher', 'sentrel'), ('boardctl', 'boardctl')):
            for name, path in self.objects('%s/CMakeFiles/%s.dir' % (program, target)):
                for symbol in (self.symbols(path)[1] & set(owner)) - exported:
                    self.faults.append('%s/%s uses %s, which no header declares' % (
                        program, name, symbol))

    def check_exports(self, exported):
        declared = set()
        for header in self.headers:
            path = os.path.join(self.sources, 'include/libsys', header)
            text = re.sub(r'/\*.*?\*/', '', open(path).read(), flags=re.S)
            declared |= set(re.findall(r'\bLIBSYS_API\b[^;(\[]*?(\w+)\s*[;(\[]', text))
        for what, names in (('is not declared', exported - declared),
                            ('is declared and not exported', declared - exported)):
            self.faults += ['%s %s' % (name, what) for name in sorted(names)]


def main(sources, build):
    floors = Floors(sources, build)
    floors.check_includes()
    floors.check_symbols()
    floors.faults += ['%s no longer leads up to %s' % way for way in sorted(floors.unused)]
    for fault in floors.faults:
        print(fault)
    return 1 if floors.faults else 0


if __name__ == '__main__':
    sys.exit(main(*sys.argv[1:]))
