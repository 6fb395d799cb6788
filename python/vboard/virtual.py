"""The virtual board, as the command vboard plays it."""

import json
import os
import shutil
import subprocess
import tempfile
import typing

from vboard.base import AbstractBoard, BoardError, ConsoleLine, Event, NotSeen, Result
from vboard.making import Making, write_file

LONGEST_END = 30  # real seconds that the command gets to switch its board off


class Board(AbstractBoard):
    """Board time stands while the test computes, and jumps over what only waits.

    The board is one by name, such as 'direct', or a description's path. Programs are put onto it by
    their paths there: {'/opt/app/Quillon': 'build/my_application'}. Extra is what a description
    has besides, which holds before what the board's own says. A folder that is given outlives the
    board. A step that takes more than `patience` real seconds ends the board."""

    kind = 'virtual'

    def __init__(self, board: str, *, programs: typing.Mapping[str, str] | None = None,
                 extra: str = '', folder: str | None = None, command: str | None = None,
                 programs_folder: str | None = None, patience: int = 60,
                 relative_to: str = '') -> None:
        self._process: subprocess.Popen | None = None
        self._temporary = folder is None
        self.folder = folder or tempfile.mkdtemp(prefix='vboard-')
        self.lines: list[Event | ConsoleLine] = []
        try:
            os.makedirs(self.folder, exist_ok=True)
            self.making = Making(board, self.folder, command, programs_folder, programs, extra,
                                 relative_to)
            self.description = self.making.description
            self._start(patience)
        except BaseException:
            self.close()
            raise

    def command(self, *words: str) -> list[str]:
        """The command vboard with these words, for this board."""
        return [self.making.command, '--folder', os.path.join(self.folder, 'board'),
                '--programs', self.making.programs, *words]

    def _start(self, patience: int) -> None:
        transcript = os.path.join(self.folder, 'transcript')
        with open(transcript, 'wb'), open(os.path.join(self.folder, 'messages'), 'wb') as messages:
            self._process = subprocess.Popen(
                self.command('run', self.making.path, '--steps', '--transcript', transcript,
                             '--patience', str(patience)),
                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=messages)
        self._transcript = open(transcript, 'rb')
        self._answer()

    def close(self) -> None:
        process, self._process = self._process, None
        if process is not None:
            self._transcript.close()
            for pipe in process.stdin, process.stdout:
                try:
                    pipe.close()
                except BrokenPipeError:
                    pass
            try:
                process.wait(LONGEST_END)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        if self._temporary:
            shutil.rmtree(self.folder, ignore_errors=True)

    # ---- Steps ----

    def step(self, step: str) -> dict:
        """Plays a step of `vboard run --steps` and returns the answer's fields."""
        __tracebackhide__ = True
        if '\n' in step:
            raise BoardError('a step is one line: %r' % step)
        if self._process is None:
            raise BoardError('the board is closed')
        try:
            self._process.stdin.write(step.encode('utf-8', 'surrogateescape') + b'\n')
            self._process.stdin.flush()
        except BrokenPipeError:
            pass  # it has ended, and said why
        answer = self._answer()
        if answer.get('limit'):
            raise NotSeen(answer['error'])
        if not answer['ok']:
            raise BoardError(answer['error'])
        return answer

    def _answer(self) -> dict:
        line = self._process.stdout.readline()
        for taken in self._transcript:
            if taken.endswith(b'\n'):  # a command that was killed leaves a part of its last one
                self.lines.append(as_line(json.loads(taken)))
        if line.endswith(b'\n'):
            return json.loads(line)
        with open(os.path.join(self.folder, 'messages'), errors='replace') as messages:
            raise BoardError(messages.read().strip() or 'the command vboard has ended')

    def boot(self) -> None:
        self.step('power on')

    def off(self) -> None:
        self.step('power off')

    def restart(self) -> None:
        self.step('power cycle')

    def cut(self) -> None:
        self.step('power cut')

    def act(self, step: str) -> None:
        self.step(step)

    def expect(self, text: str, within: float = 10) -> str:
        __tracebackhide__ = True
        return self.step('expect %.6f %s' % (within, text))['line']

    def expect_none(self, text: str, seconds: float) -> None:
        __tracebackhide__ = True
        try:
            line = self.expect(text, seconds)
        except NotSeen:
            return
        raise AssertionError("'%s' came: %s" % (text, line))

    def forget(self) -> None:
        self.step('forget')

    def type(self, line: str) -> None:
        self.step('type ' + line)

    # ---- Programs ----

    def start(self, program: str, *arguments: str) -> int:
        """Starts a program beside the others and returns the number of its process."""
        return self.step('start ' + as_words([program, *arguments]))['process']

    def signal(self, process: int, number: int) -> None:
        self.step('signal %d %d' % (number, process))

    def finish(self, process: int) -> Result:
        """Goes on until a program that was started has ended."""
        answer = self.step('finish %d' % process)
        return Result(answer['status'], answer['output'], answer['messages'])

    def run(self, program: str, *arguments: str) -> Result:
        return self.finish(self.start(program, *arguments))

    def state(self) -> dict:
        result = subprocess.run(self.command('state', '--json'), capture_output=True, text=True)
        if result.returncode != 0:
            raise BoardError(result.stderr.strip())
        return json.loads(result.stdout)

    def waveform(self, path: str) -> None:
        """Writes a value change dump of what has happened, for waveform viewers."""
        result = subprocess.run(self.command('events', '--vcd', path), capture_output=True, text=True)
        if result.returncode != 0:
            raise BoardError(result.stderr.strip())

    # ---- Files ----

    def read(self, place: str, name: str) -> bytes:
        with open(self._content(place, name), 'rb') as file:
            return file.read()

    def write(self, place: str, name: str, content: bytes) -> None:
        write_file(self._content(place, name), content)

    def _content(self, place: str, name: str) -> str:
        return self.making.content(os.path.join(self.folder, 'board'), place, name)


def as_line(json_line: dict) -> Event | ConsoleLine:
    if 'console' in json_line:
        return ConsoleLine(json_line['time'], json_line['console'])
    known = {name: json_line.pop(name) for name in ('time', 'process', 'text')}
    return Event(**known, fields=json_line)


def as_words(command: list[str]) -> str:
    """A command as a step has it: as words, which may have any bytes, or as a list of texts."""
    if all(word and not word.startswith('[') and not any(map(str.isspace, word)) for word in command):
        return ' '.join(command)
    return json.dumps(command)
