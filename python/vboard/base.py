"""What every kind of board can do, so that a test need not know on which one it runs."""

import abc
import dataclasses
import typing


class BoardError(Exception):
    """What the board, or the command that runs it, could not do."""


class NotSeen(AssertionError):
    """A text did not come in time."""


@dataclasses.dataclass(frozen=True)
class Event:
    """Something that happened on the board: at which second since it was switched on, by which
    process (0: the board itself), and what the event's text tells, by name."""
    time: float
    process: int
    text: str
    fields: typing.Mapping[str, typing.Any] = dataclasses.field(default_factory=dict)

    def __str__(self) -> str:
        return '%12.3f  [%d] %s' % (self.time, self.process, self.text)


@dataclasses.dataclass(frozen=True)
class ConsoleLine:
    """What a program printed, and when it came."""
    time: float
    text: str

    def __str__(self) -> str:
        return '%12.3f  |  %s' % (self.time, self.text)


@dataclasses.dataclass(frozen=True)
class Result:
    """What a program printed, on standard output and as messages, and its exit status; 128 and the
    signal's number of one that a signal ended."""
    status: int
    output: str
    messages: str


class AbstractBoard(abc.ABC):
    """A board is made when the object is, and switched off then. Seconds are the board's."""

    kind: str
    description: typing.Mapping[str, typing.Any]  # complete, as `vboard describe` prints it
    lines: typing.Sequence[Event | ConsoleLine]   # events and console as they came

    def __enter__(self):
        return self

    def __exit__(self, *unused: object) -> None:
        self.close()

    @abc.abstractmethod
    def close(self) -> None:
        """Switches it off for good and removes what was made for it."""

    # ---- Power ----

    @abc.abstractmethod
    def boot(self) -> None:
        """Switches it on. Returns at once: expect() the line that shows how far it is."""

    @abc.abstractmethod
    def off(self) -> None:
        """Switches it off; flash and sticks keep what they hold."""

    @abc.abstractmethod
    def restart(self) -> None:
        """Restarts it."""

    @abc.abstractmethod
    def cut(self) -> None:
        """Pulls the plug, whatever the programs are doing, and puts it back."""

    # ---- What goes on ----

    @abc.abstractmethod
    def act(self, step: str) -> None:
        """A step of a scenario, such as 'gpio set 1 5 0', 'wait TEXT' or 'after 2.5'."""

    def play(self, steps: typing.Iterable[str] | None = None) -> None:
        """Plays steps, or the scenario of the board's description."""
        for step in self.description['scenario'] if steps is None else steps:
            self.act(step)

    @abc.abstractmethod
    def expect(self, text: str, within: float = 10) -> str:
        """Goes on until a line contains the text, of the console or an event, that came after the
        last one found. Returns the line; NotSeen when that takes longer."""

    @abc.abstractmethod
    def expect_none(self, text: str, seconds: float) -> None:
        """Lets so many seconds go by; AssertionError when a line comes that contains the text."""

    @abc.abstractmethod
    def forget(self) -> None:
        """What has come so far is not looked at any more by expect()."""

    def after(self, seconds: float) -> None:
        """Lets so many seconds go by."""
        self.act('after %.6f' % seconds)

    @abc.abstractmethod
    def run(self, program: str, *arguments: str) -> Result:
        """Runs a program on the board to its end: one of the built programs, or a path."""

    # ---- What it told ----

    @property
    def console(self) -> list[str]:
        return [line.text for line in self.lines if isinstance(line, ConsoleLine)]

    def events(self, containing: str = '', /, **fields: object) -> list[Event]:
        """The events whose text contains this and that have these fields."""
        return [line for line in self.lines if isinstance(line, Event) and containing in line.text
                and all(line.fields.get(name) == value for name, value in fields.items())]

    def transcript(self) -> str:
        """Events, with second and process, and the console on the right of a bar."""
        return '\n'.join(str(line) for line in self.lines)

    @abc.abstractmethod
    def state(self) -> dict:
        """At least 'power' ("on", "off"), 'boots' and 'time'."""

    # ---- Acting on it ----

    def press(self, key: int) -> None:
        """Presses a key of the front panel: scan line times 5 plus sense line."""
        self.act('key press %d' % key)

    def release(self, key: int) -> None:
        self.act('key release %d' % key)

    def infrared(self, code: int, state: int = 1) -> None:
        """Sends a code with the remote control."""
        self.act('ir send %d %d' % (code, state))

    @abc.abstractmethod
    def type(self, line: str) -> None:
        """Types a line on the console."""

    def plug(self, stick: str) -> None:
        self.act('stick plug ' + stick)

    def pull(self, stick: str) -> None:
        self.act('stick pull ' + stick)

    # ---- Files ----

    @abc.abstractmethod
    def read(self, place: str, name: str) -> bytes:
        """A file's content; the place is a partition of the flash or a disk by its name in the
        description, and the name the file's there. FileNotFoundError when there is none."""

    @abc.abstractmethod
    def write(self, place: str, name: str, content: bytes) -> None:
        """Writes a file; before the board is switched on, every kind of board can."""
