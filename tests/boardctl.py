"""Each of boardctl's commands on a virtual board: usage: boardctl.py VBOARD PROGRAMS."""
import difflib
import json
import os
import re
import signal
import sys
import tempfile

TESTS = os.path.dirname(os.path.abspath(__file__))
sys.path.append(os.path.dirname(TESTS) + '/python')
from boardctl_cases import BOARD, BOARDS, CASES, IN_USE  # noqa: E402
from vboard import Board  # noqa: E402

LONG_RUN = re.compile(r'([^ ])\1{40,}')
# They end with their output.
ENDLESS = [('& uart send 2 4107', 'uart2: 9600 baud'), ('uart listen 2 9600', 0, None),
           ('! key press 6',), ('key', 0, None)]
STREAMS = ('key', 'uart listen')
TEXTS = ('help', ' -h', '--man', '--completion', 'flash dump')
# How a result is lost: on a full disk, with no output, with no messages either, in a broken pipe.
LOST = ['f', 'o', 'om', 'p']


# What the board's init runs: the command is tested beside nothing.
IDLE = """
start = ["/sbin/sentrel"]
programs."/sbin/sentrel" = "sentrel"
"""


class Bench:
    """A board on which boardctl runs."""

    def __init__(self, vboard, programs, folder, description):
        os.makedirs(folder)
        with open(folder + '/board.toml', 'w') as file:
            file.write(IDLE + description)
        self.folder, self.boardctl = folder, programs + '/boardctl'
        self.board = Board(folder + '/board.toml', folder=folder, command=vboard,
                           programs_folder=programs)
        self.failed, self.transcript = 0, ''
        os.makedirs(folder + '/board/root/opt/sav/Config')  # as if mounted
        os.symlink('/dev/full', folder + '/board/root/opt/sav/full')
        self.board.boot()
        self.board.after(1)

    def run(self, command, meanwhile=(), lost=None):
        """Status, output, messages, and what happened on the board."""
        self.board.forget()
        before = len(self.board.lines)
        words = [self.boardctl, *command.split()]
        if lost:
            words = ['lost', lost, *words]
        process = self.board.start(*words)
        for kind, action, event in meanwhile:
            self.board.expect(event)
            if kind == '&':
                self.board.act(action)
            else:
                self.board.signal(process, getattr(signal, 'SIG' + action))
        result = self.board.finish(process)
        events = '\n'.join(map(str, self.board.lines[before:]))
        return result.status, result.output, result.messages, events

    def expect(self, good, command, result):
        self.failed += not good
        if not good:
            print('boardctl %s: %d\n%s%s%s' % (command, *result))

    def rows(self, cases):
        """The commands of the table, with the actions while they run."""
        meanwhile = []
        for row in cases:
            kind, _, words = row[0].partition(' ')
            if kind == '!':
                self.board.act(words)
            elif kind == '?':
                self.board.expect(words, within=300)
                self.board.after(1)
            elif kind in '&%':
                meanwhile.append((kind, words, row[1]))
            else:
                yield row, meanwhile
                meanwhile = []

    def check(self, cases):
        """As a person sees it; wrong usage touches nothing, and success says nothing else."""
        for (command, status, expected, *event), meanwhile in self.rows(cases):
            result = self.run(command, meanwhile)
            _, output, messages, events = result
            if isinstance(expected, str):
                good = expected in (output if status == 0 else messages)
            else:
                good = json.loads(output) == expected
            if status == 2:
                good &= all(' missing: ' in line or ' exit: ' in line for line in events.splitlines())
            if 'verbose' not in command:
                good &= 'hardware identifier' not in messages and (status != 0 or messages == '')
            good &= result[0] == status
            good &= all((each[0] != '-') == (each.lstrip('-') in events) for each in event)
            self.expect(good, command, result)
            text = 'boardctl %s: %d\n%s%s' % (command, *result[:3])
            text = LONG_RUN.sub(lambda run: '%s{%d}' % (run[1], len(run[0])), text)
            self.transcript += text.encode(errors='surrogateescape').decode(
                errors='backslashreplace').replace('\0', '\\0')

    def compare(self, name):
        """What check said, letter by letter; UPDATE=1 in the environment writes the file anew."""
        place = '%s/data/boardctl/%s.txt' % (TESTS, name)
        if 'UPDATE' in os.environ:
            with open(place, 'w', encoding='utf-8') as file:
                file.write(self.transcript)
        with open(place, encoding='utf-8', newline='') as file:
            told, expected = self.transcript.splitlines(True), file.read().splitlines(True)
        self.failed += told != expected
        for line in difflib.unified_diff(expected, told, place, 'told'):
            print(line, end='')

    def check_json(self, cases):
        """Every output parses, also that of failures and with standard error closed."""
        for (command, status, *_), meanwhile in self.rows(cases):
            if status > 128 or any(each in command for each in TEXTS):
                continue
            result = self.run('--json ' + command, meanwhile, 'm')
            try:
                lines = result[1].splitlines() if command.startswith(STREAMS) else [result[1]]
                last = [json.loads(line) for line in lines][-1]
                good = result[0] == status and (status == 0) == ('error' not in last)
            except json.JSONDecodeError:
                good = False
            self.expect(good, '--json ' + command, result)

    def check_lost(self, cases):
        """A result that does not arrive is a failure, and is found nowhere else."""
        rows = self.rows(ENDLESS * (cases is CASES) + cases)
        for number, ((command, status, expected, *_), meanwhile) in enumerate(rows):
            how = LOST[number % len(LOST)]
            result = self.run(command, meanwhile, how)
            lost = status == 0 and expected != ''
            good = result[0] == (1 if lost else status) and result[1] == ''
            if lost and 'm' not in how:
                good &= result[2].endswith('boardctl: the %s cannot be written\n' % (
                    'copy' if command.startswith('flash dump') else 'output'))
            self.expect(good, command + ' ' + how, result)

    def check_use(self):
        """Partitions in use are erased with --force only."""
        os.makedirs(self.folder + '/board/root/sys/class/ubi/ubi1')
        for file, text, used in IN_USE:
            for name in ('/proc/mounts', '/proc/cmdline', '/sys/class/ubi/ubi1/mtd_num'):
                with open(self.folder + '/board/root' + name, 'w') as content:
                    content.write(text + '\n' if name == file else 'nothing\n')
            for partition in ('kernel', 'rootfs', 'config'):
                result = self.run('flash erase ' + partition)
                self.transcript += result[2]
                erased = 'flash: erase' in result[3]
                good = (result[0] == 0) == erased == (partition != used)
                self.expect(good, 'flash erase %s with %s in %s' % (partition, text, file), result)
        self.check([('--force flash erase boot', 0, '', 'flash: erase mtd0 0x0')])
        self.check([('! fault once opendir /sys/class/ubi 1 EACCES',),
                    ('flash erase kernel', 1, '/sys/class/ubi cannot be read')])
        for name in '/proc/cmdline', '/proc/mounts':
            os.unlink(self.folder + '/board/root' + name)
            self.check([('flash erase kernel', 1, name + ' cannot be read')])
            os.mkdir(self.folder + '/board/root' + name)  # it opens, and does not read
            self.check([('flash erase kernel', 1, name + ' cannot be read')])
        self.compare('use')


def main(vboard, programs):
    failed = 0
    os.environ['TZ'] = 'CET-1CEST,M3.5.0,M10.5.0/3'
    # The leak check of a sanitizer would take time of the board's, which the transcripts show.
    os.environ['ASAN_OPTIONS'] = 'detect_leaks=0'
    with tempfile.TemporaryDirectory() as folder:
        for check in (Bench.check, Bench.check_json, Bench.check_lost):
            for name, board, cases in BOARDS:
                bench = Bench(vboard, programs, '%s/%s-%s' % (folder, name, check.__name__), board)
                with bench.board:
                    check(bench, cases)
                    if check is Bench.check:
                        bench.compare(name)
                failed += bench.failed
        bench = Bench(vboard, programs, folder + '/use', BOARD)
        with bench.board:
            bench.check_use()
    return failed + bench.failed != 0


sys.exit(main(*sys.argv[1:]))
