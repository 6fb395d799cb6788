"""Where boards and programs are found, and a board's description with what a test adds to it."""

import importlib
import json
import os
import shutil
import subprocess
import sys
import typing

from vboard.base import AbstractBoard, BoardError

# The tree of sources that this package may be part of.
TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def find_command() -> str:
    """The command vboard: named by the environment, installed, or built in the tree."""
    built = os.path.join(TREE, 'build', 'release', 'bin', 'vboard')
    for command in os.environ.get('VBOARD'), shutil.which('vboard'), built:
        if command and os.access(command, os.X_OK):
            return os.path.realpath(command)
    raise BoardError('there is no command vboard: VBOARD names it')


def find_board(board: str, command: str) -> str:
    """The description of a board by its name or by its path."""
    if board.endswith('.toml') or '/' in board:
        if os.path.exists(board):
            return os.path.abspath(board)
        raise BoardError("there is no description '%s'" % board)
    beside = os.path.dirname(os.path.realpath(command))
    folders = [os.environ.get('VBOARD_BOARDS', ''), os.path.join(beside, 'boards'),
               os.path.join(beside, '../../../share/sentrel-tools/boards'), os.path.join(TREE, 'boards')]
    for folder in filter(None, folders):
        path = os.path.join(folder, board + '.toml')
        if os.path.exists(path):
            return os.path.abspath(path)
    raise BoardError("there is no board '%s'" % board)


def kind_of_board(kind: str) -> type[AbstractBoard]:
    """The class of the virtual board, or of the emulated ARM board."""
    if kind == 'virtual':
        return importlib.import_module('vboard.virtual').Board
    folder = os.path.join(TREE, 'armboard')
    if not os.path.isdir(folder):
        raise BoardError('the emulated ARM board is in the source tree only')
    sys.path.insert(0, folder)
    try:
        return importlib.import_module('board').Board
    finally:
        sys.path.remove(folder)


def add_programs(folder: str, known: str, programs: typing.Mapping[str, str],
                 relative_to: str) -> dict[str, str]:
    """Fills a folder with the known programs and the test's own ones, which are named by their
    path on the board. Returns their names in that folder."""
    os.makedirs(folder)
    for name in os.listdir(known):
        if os.path.isfile(os.path.join(known, name)):
            os.symlink(os.path.join(known, name), os.path.join(folder, name))
    names = {}
    for path, program in programs.items():
        if os.path.basename(program) == program and os.path.exists(os.path.join(folder, program)):
            names[path] = program
            continue
        source = os.path.join(relative_to, program)
        if not os.path.isfile(source):
            raise BoardError('%s is no program' % source)
        names[path] = 'own-%d-%s' % (len(names), os.path.basename(source))
        os.symlink(os.path.abspath(source), os.path.join(folder, names[path]))
    return names


class Making:
    """A board's description and the folder of its programs, once what a test adds is in them."""

    def __init__(self, board: str, folder: str, command: str | None, known: str | None,
                 programs: typing.Mapping[str, str] | None, extra: str, relative_to: str) -> None:
        self.command = command or find_command()
        self.programs = known or os.path.dirname(self.command)
        if not os.path.isdir(self.programs):
            raise BoardError('%s: no folder of programs' % self.programs)
        own = os.path.join(relative_to, board)
        self.path = find_board(own if board.endswith('.toml') else board, self.command)
        if programs or extra:
            self._add(folder, programs or {}, extra, relative_to)
        self.description = json.loads(self._describe())

    def _add(self, folder, programs, extra, relative_to):
        known, self.programs = self.programs, os.path.join(folder, 'programs')
        names = add_programs(self.programs, os.path.abspath(known), programs, relative_to)
        base, self.path = self.path, os.path.join(folder, 'board.toml')
        with open(self.path, 'w', encoding='utf-8') as file:
            file.write('base = %s\n' % json.dumps(base, ensure_ascii=False))
            for path, name in names.items():
                # A JSON text is one of TOML's.
                file.write('programs.%s = %s\n' % (json.dumps(path, ensure_ascii=False),
                                                   json.dumps(name, ensure_ascii=False)))
            file.write(extra + '\n')

    def _describe(self) -> str:
        words = [self.command, '--programs', self.programs, 'describe', self.path]
        result = subprocess.run(words, capture_output=True, text=True)
        if result.returncode != 0:
            raise BoardError(result.stderr.strip())
        return result.stdout

    def partition(self, name: str) -> int | None:
        """The number of a partition of the flash."""
        names = [part['name'] for part in self.description['flash']['partition']]
        return names.index(name) if name in names else None

    def content(self, board: str, place: str, name: str) -> str:
        """Where a file of a partition or a disk lies in the folder of a board."""
        number = self.partition(place)
        disks = [disk['name'] for disk in self.description['scsi']['disk']]
        if number is None and place not in disks:
            raise BoardError("the board has no partition and no disk '%s'" % place)
        folder = 'mtd%d' % number if number is not None else 'scsi-' + place
        path = os.path.normpath(os.path.join('/', name))
        return os.path.join(board, 'disks', folder) + path


def write_file(path: str, content: bytes) -> None:
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, 'wb') as file:
        file.write(content)
