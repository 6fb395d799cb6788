"""Boards for labgrid. A lab's file names them, see examples/recorder/lab.yaml:

    imports: [vboard.labgrid]
    targets:
      main:
        resources:
          RecorderBoard: {board: direct}
        drivers:
          RecorderBoardDriver: {}
          BoardKeyDriver: {key: 7}

Tests that use the drivers by their protocols run on a real board, too, once its lab names a serial
port and a power switch there instead. Seconds to wait for are the board's."""

import logging

import attr
import pexpect
from labgrid import target_factory
from labgrid.driver import Driver
from labgrid.driver.consoleexpectmixin import ConsoleExpectMixin
from labgrid.protocol import ConsoleProtocol, DigitalOutputProtocol, PowerProtocol
from labgrid.resource import Resource
from labgrid.step import step

from vboard.base import ConsoleLine
from vboard.making import kind_of_board

SLICE = 0.1  # seconds after which the console is looked at again


@target_factory.reg_resource
@attr.s(eq=False)
class RecorderBoard(Resource):
    """A board as vboard.Board makes it, or one of another kind."""

    board = attr.ib(validator=attr.validators.instance_of(str))
    kind = attr.ib(default='virtual', validator=attr.validators.in_(['virtual', 'arm']))
    programs = attr.ib(factory=dict, validator=attr.validators.instance_of(dict))
    extra = attr.ib(default='', validator=attr.validators.instance_of(str))


@target_factory.reg_driver
@attr.s(eq=False)
class RecorderBoardDriver(ConsoleExpectMixin, Driver, PowerProtocol, ConsoleProtocol):
    """Power and console; `device` is the board itself, with all that it can do."""

    bindings = {'resource': RecorderBoard}
    txdelay = attr.ib(default=0.0, validator=attr.validators.instance_of(float))

    def __attrs_post_init__(self):
        super().__attrs_post_init__()
        self.logger = logging.getLogger('%s(%s)' % (self, self.target))
        self.device = None

    def on_activate(self):
        resource = self.resource
        self.device = kind_of_board(resource.kind)(
            resource.board, programs=resource.programs, extra=resource.extra)
        self._taken, self._read_ahead, self._typed = 0, b'', b''

    def on_deactivate(self):
        device, self.device = self.device, None
        device.close()

    # ---- Power ----

    def _is_on(self):
        return self.device.state()['power'] == 'on'

    @Driver.check_active
    @step()
    def on(self):
        if not self._is_on():
            self.device.boot()

    @Driver.check_active
    @step()
    def off(self):
        if self._is_on():
            self.device.off()

    @Driver.check_active
    @step()
    def cycle(self):
        self.off()
        self.on()

    # ---- Console ----

    def _take(self):
        lines = self.device.lines
        for line in lines[self._taken:]:
            if isinstance(line, ConsoleLine):
                self._read_ahead += line.text.encode('utf-8', 'replace') + b'\r\n'
            self._taken += 1

    def _read(self, size: int = 1, timeout: float = 0.0):
        self._take()
        left = timeout or 0
        while not self._read_ahead and left > 0:
            self.device.after(min(SLICE, left))
            left -= SLICE
            self._take()
        if not self._read_ahead:
            raise pexpect.TIMEOUT('nothing came on the console for %.2f seconds' % (timeout or 0))
        part, self._read_ahead = self._read_ahead[:size], self._read_ahead[size:]
        return part

    def _write(self, data: bytes):
        *lines, self._typed = (self._typed + data).split(b'\n')
        for line in lines:
            self.device.type(line.decode('utf-8', 'surrogateescape'))
        return len(data)


@target_factory.reg_driver
@attr.s(eq=False)
class BoardKeyDriver(Driver, DigitalOutputProtocol):
    """A key of the front panel, which is pressed while the output is set."""

    bindings = {'board': RecorderBoardDriver}
    key = attr.ib(validator=attr.validators.instance_of(int))

    def __attrs_post_init__(self):
        super().__attrs_post_init__()
        self.pressed = False

    @Driver.check_active
    @step(args=['status'])
    def set(self, status):
        if bool(status) != self.pressed:
            (self.board.device.press if status else self.board.device.release)(self.key)
        self.pressed = bool(status)

    @Driver.check_active
    @step(result=True)
    def get(self):
        return self.pressed
