"""The emulated machine: QEMU, what it and its guest say, and what they are asked."""

import collections
import ctypes
import json
import math
import os
import queue
import select
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

sys.path.append(os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), 'python'))

from vboard.base import BoardError, ConsoleLine, Event  # noqa: E402

# On a busy machine a boot takes long; only a failure waits so long.
PATIENCE = 120
# A board that runs answers within these seconds.
ANSWER = 30
LAST_LINES = 12  # of the console, that a failure shows
BROKEN = ('Kernel panic', 'Oops', 'Internal error')


class Failure(BoardError):
    pass


def die_with_parent():
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)


class Machine:
    """Each line that the guest says is news; show is called with it."""

    PORTS = 'console', 'uart1', 'uart2', 'uart3'
    CHANNELS = 'events', 'commands'  # of the guest's to this program

    def __init__(self, show=None):
        self.show = show
        # A unix socket's path is short, whatever the folder's is.
        self.sockets = tempfile.mkdtemp(prefix='armboard-')
        self.lines = []
        self.last = collections.deque(maxlen=LAST_LINES)
        self.news, self.answers, self.qmp_answers = queue.Queue(), queue.Queue(), queue.Queue()
        self.questions = 0  # each answer bears its question's number: one may come too late
        self.qemu = self.follower = None
        self.started = False
        self.boots, self.begin = 0, time.monotonic()
        self.broken = None  # what the kernel said when it failed

    def start(self, command):
        """Gives it power."""
        def path(name):
            return os.path.join(self.sockets, name)

        listeners = {}
        for name in (*self.PORTS, 'qmp', *self.CHANNELS):
            listeners[name] = socket.socket(socket.AF_UNIX)
            listeners[name].bind(path(name))
            listeners[name].listen(1)
            listeners[name].settimeout(0.2)
        for name in self.PORTS:
            command += ['-serial', 'unix:' + path(name)]
        command += ['-qmp', 'unix:' + path('qmp')]
        for name in self.CHANNELS:
            command += ['-chardev', 'socket,id=%s,path=%s' % (name, path(name)),
                        '-device', 'virtserialport,chardev=%s,name=%s' % (name, name)]
        self.links = {}
        self.qemu = subprocess.Popen(command, stdin=subprocess.DEVNULL,
                                     env=dict(os.environ, QEMU_AUDIO_DRV='none'),
                                     preexec_fn=die_with_parent,
                                     stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        self.started, self.broken = False, None
        self.power_on()
        for name, listener in listeners.items():
            self.links[name] = self.accept(listener)
            listener.close()
            os.unlink(path(name))
        follower = threading.Thread(target=self.follow, daemon=True)
        follower.start()
        self.follower = follower
        self.qmp('qmp_capabilities')

    def accept(self, listener):
        end = time.monotonic() + PATIENCE
        while time.monotonic() < end and self.qemu.poll() is None:
            try:
                return listener.accept()[0]
            except socket.timeout:
                pass
        qemu, self.qemu = self.qemu, None
        qemu.kill()
        raise Failure('QEMU does not start: ' + qemu.communicate()[1].decode('utf-8', 'replace'))

    def unplug(self):
        """Takes the power, with all that only QEMU knows."""
        if self.qemu is not None:
            qemu, self.qemu = self.qemu, None
            qemu.kill()
            qemu.communicate()
            if self.follower is not None:
                self.follower.join()
            for link in self.links.values():
                link.close()

    def close(self):
        self.unplug()
        shutil.rmtree(self.sockets, ignore_errors=True)

    def follow(self):
        """Takes what the board says until it is off."""
        takers = {'console': self.take_console, 'events': self.take_event,
                  'commands': self.answers.put, 'qmp': self.take_qmp}
        rest = dict.fromkeys(takers, b'')
        self.ended = False
        while not self.ended:
            select.select([self.links[name] for name in takers], [], [])
            # What the machine tells is read first and taken last: by then all that its guest said
            # before has come, and so has what the guest told before it answered.
            for name in reversed(takers):
                rest[name] += self.receive(self.links[name])
            for name, take in takers.items():
                *lines, rest[name] = rest[name].split(b'\n')
                for line in lines:
                    take(line.decode('utf-8', 'replace').rstrip('\r'))

        if self.qemu is not None:
            self.broken = 'QEMU ended'

    def receive(self, link):
        data = b''
        while not self.ended and select.select([link], [], [], 0)[0]:
            try:
                part = link.recv(65536)
            except ConnectionResetError:  # QEMU was killed with something unread
                part = b''
            self.ended = not part
            data += part
        return data

    def take_qmp(self, line):
        message = json.loads(line)
        if message.get('event') == 'RESET':
            self.power_on()
        elif 'return' in message or 'error' in message:
            self.qmp_answers.put(message)

    def power_on(self):
        self.boots, self.begin = self.boots + 1, time.monotonic()
        self.take_event('power: on, boot %d' % self.boots)

    def take_console(self, line):
        self.last.append(line)
        if any(word in line for word in BROKEN):
            self.broken = line
        if '\x1estart' in line:
            self.started = True
            self.take_event('launcher starts')
        elif line.startswith('\x1eexit '):
            self.take_event('exit: status ' + line[6:])
        elif self.started:
            self.take(ConsoleLine(time.monotonic() - self.begin, line))

    def take_event(self, text):
        self.take(Event(time.monotonic() - self.begin, 0, text))

    def take(self, line):
        self.lines.append(line)
        self.news.put(line)
        if self.show:
            self.show(line)

    def send(self, link, data):
        try:
            self.links[link].sendall(data)
        except (BrokenPipeError, ConnectionResetError):
            raise self.failure('QEMU ended') from None

    def qmp(self, execute, **arguments):
        self.questions += 1
        message = json.dumps({'execute': execute, 'arguments': arguments, 'id': self.questions})
        self.send('qmp', message.encode() + b'\n')
        end, answer = time.monotonic() + ANSWER, {}
        while answer.get('id') != self.questions:
            answer = self.come(self.qmp_answers, end, execute + ': no answer')
        if 'error' in answer:
            raise Failure('%s: %s' % (execute, answer['error']['desc']))
        return answer['return']

    def wait(self, text, seconds=PATIENCE):
        """Goes on until a line that came after the last one waited for contains the text."""
        end = time.monotonic() + seconds
        while True:
            line = self.come(self.news, end, "'%s' did not come" % text).text
            if text in line:
                return line

    def listen(self, seconds):
        """What comes within so many seconds, line by line."""
        end = time.monotonic() + seconds
        while not self.broken and time.monotonic() < end:
            try:
                yield self.news.get(timeout=0.1).text
            except queue.Empty:
                pass
        if self.broken:
            raise self.failure(self.broken)

    def forget(self):
        """What has come so far is not waited for any more."""
        while not self.news.empty():
            self.news.get()

    def come(self, source, end, otherwise):
        """What comes next, or a failure with the console's last lines."""
        while not self.broken:
            try:
                return source.get(timeout=0.2)
            except queue.Empty:
                if time.monotonic() >= end:
                    break
        raise self.failure(self.broken or otherwise)

    def failure(self, reason):
        return Failure('\n    '.join([reason, *self.last]))

    def stay(self):
        """Leaves it on; that it breaks is a failure."""
        while True:
            self.come(self.news, math.inf, '')

    def shell(self, command, seconds=ANSWER):
        """What a shell command on the board prints; its exit status stands in the last line."""
        return self.ask('shell ' + command + '; echo "status $?"', seconds)

    def ask(self, question, seconds=ANSWER):
        self.questions += 1
        self.send('commands', b'%d %s\n' % (self.questions, question.encode()))
        end, lines = time.monotonic() + seconds, []
        while True:
            line = self.come(self.answers, end, "'%s': the board does not answer" % question)
            head, _, text = line.partition(' ')
            if head == '%d.' % self.questions:
                return lines
            if head == '%d>' % self.questions:
                lines.append(text)
