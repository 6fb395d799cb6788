#!/usr/bin/env python3
"""One emulated ARM board: made from a board description, booted in QEMU, acted on and read.

Run as a program it plays the scenario of a board and shows its console and events.
"""

import argparse
import base64
import collections
import os
import re
import shlex
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import typing

from machine import ANSWER, Failure, Machine, PATIENCE  # which makes the package vboard known

from vboard.base import AbstractBoard, BoardError, Event, NotSeen, Result
from vboard.making import Making, write_file

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
STATIC = os.path.join(ROOT, 'build', 'armboard')
PROGRAMS = os.path.join(ROOT, 'build', 'arm', 'bin')
VBOARD = os.path.join(ROOT, 'build', 'release', 'bin', 'vboard')
SRAM = 0x48000000
SRAM_SIZE = 0x2000000
PAGE = 4096

# What only the virtual board can do, or log.
ONLY_VIRTUAL = ('wait uart', 'power hang')
# What the board's own module does.
ON_BOARD = ('key', 'gpio', 'ir', 'temperature', 'clock', 'flash')


def output(*command, **options):
    """What a program of the PC prints, or a failure with what it complains about."""
    result = subprocess.run(command, capture_output=True, **options)
    if result.returncode != 0:
        raise Failure('%s failed: %s' % (os.path.basename(command[0]),
                                         result.stderr.decode('utf-8', 'replace').strip()))
    return result.stdout


def lines_of(rows):
    return ','.join('.'.join(str(number) for number in row) for row in rows)


class Board(Machine, AbstractBoard):
    """The same as vboard.Board, but for a real kernel, whose seconds are the PC's: a busy one gets
    PATIENCE beyond what a test allows. Options are parameters of the kernel module, tools further
    programs that the board gets, files further files by their place on it; show is called with
    every line."""

    kind = 'arm'

    def __init__(self, board: str, *, programs: typing.Mapping[str, str] | None = None,
                 extra: str = '', folder: str | None = None, command: str | None = None,
                 programs_folder: str | None = None, relative_to: str = '', options=(), tools=(),
                 files=None, show=None) -> None:
        super().__init__(show)
        self.temporary = folder is None
        self.folder = folder or tempfile.mkdtemp(prefix='armboard-')
        self.options, self.files = list(options), files or {}
        self.prepared = []  # what is done to it before the launcher starts
        self.image = None  # of the flash, once it was switched off
        try:
            os.makedirs(self.folder, exist_ok=True)
            self.making = Making(board, self.folder, command or VBOARD, programs_folder or PROGRAMS,
                                 programs, extra, relative_to)
            self.description, self.programs = self.making.description, self.making.programs
            self.made = os.path.join(self.folder, 'made')
            output(VBOARD, '--folder', self.made, '--programs', self.programs, 'make', self.making.path)
        except BaseException:
            self.close()
            raise
        self.tools = [os.path.join(self.programs, 'boardctl'), *tools]

    def close(self):
        super().close()
        if self.temporary:
            shutil.rmtree(self.folder, ignore_errors=True)

    # ---- What the board starts with ----

    def flash_image(self):
        image = b''
        for index, part in enumerate(self.description['flash']['partition']):
            with open(os.path.join(self.made, 'root/dev/mtd%d' % index), 'rb') as file:
                content = file.read()
            if part['content'] == 'jffs2':
                content = self.jffs2(os.path.join(self.made, 'disks/mtd%d' % index), len(content))
            image += content
        return image

    def jffs2(self, folder, size):
        image = os.path.join(self.folder, 'jffs2')
        output('mkfs.jffs2', '-l', '-q', '-r', folder,
               '-e', hex(self.description['flash']['sector_size']),
               '--pad=%#x' % size, '-o', image)
        with open(image, 'rb') as file:
            return file.read()

    def records(self, image):
        """The pages of memory that are not what they are at power on, each behind its place."""
        flash = sum(part['size'] for part in self.description['flash']['partition'])
        for at in range(0, len(image), PAGE):
            page = image[at:at + PAGE]
            if page.strip(b'\xff' if at < flash else b'\0'):
                yield struct.pack('<I', at) + page

    def hardware(self):
        """The kernel module's parameters."""
        board = self.description
        flash, identity, panel = board['flash'], board['identity'], board['panel']
        words = {
            'sram_at': SRAM,
            'sram_size': SRAM_SIZE,
            'partitions': ','.join('%s:%d' % (part['name'], part['size'])
                                   for part in flash['partition']),
            'sector': flash['sector_size'],
            'product': identity['product'],
            'oem': '%x' % identity['oem'] if identity['oem'] >= 0 else '',
            'scan_lines': lines_of(panel.get('scan', [])),  # a board without a panel has none
            'sense_lines': lines_of(panel.get('sense', [])),
            'inputs': lines_of(board['gpio']['inputs']),
            'infrared': int(board['infrared']['fitted']),
            'console': int(board['console']['fitted']),
        }
        words.update(option.split('=', 1) for option in self.options)
        return ' '.join('%s=%s' % (key, value) for key, value in words.items() if value != '')

    def archive(self, image):
        """The initramfs: what all boards have, then what this one has."""
        tree = os.path.join(self.folder, 'tree')
        shutil.rmtree(tree, ignore_errors=True)
        os.makedirs(os.path.join(tree, 'board/bin'))
        for name in ('opt', 'tool'):
            source = os.path.join(self.made, 'root', name)
            if os.path.isdir(source):
                shutil.copytree(source, os.path.join(tree, name), symlinks=True)
        for path, program in self.description['programs'].items():
            target = tree + path
            os.makedirs(os.path.dirname(target), exist_ok=True)
            if os.path.lexists(target):
                os.unlink(target)
            shutil.copy(os.path.join(self.programs, program), target)
        for tool in self.tools:
            shutil.copy(tool, os.path.join(tree, 'board/bin'))
        for target, source in self.files.items():
            os.makedirs(os.path.dirname(tree + target), exist_ok=True)
            shutil.copy(source, tree + target)
        for name, text in (('hardware', self.hardware()), ('disks', ' '.join(self.addresses())),
                           ('start', ' '.join(self.description['start'])),
                           ('prepare', '\n'.join(self.prepared))):
            with open(os.path.join(tree, 'board', name), 'w') as file:
                file.write(text + '\n')
        with open(os.path.join(tree, 'board/flash'), 'wb') as file:
            file.writelines(self.records(image))
        names = output('find', '.', cwd=tree)
        cpio = output('cpio', '-o', '-H', 'newc', '--quiet', cwd=tree, input=names)
        path = os.path.join(self.folder, 'initrd')
        with open(path, 'wb') as file, open(os.path.join(STATIC, 'base.cpio'), 'rb') as base:
            file.write(base.read() + cpio)
        return path

    # ---- The disks ----

    def addresses(self):
        """The disks as host:channel:target:unit, in the order of their letters."""
        targets = collections.Counter()
        places = []
        for disk in self.description['scsi']['disk']:
            host = disk['host']
            places.append((disk['letter'], '%d:0:%d:0' % (host, targets[host])))
            targets[host] += 1
        return [address for _, address in sorted(places)]

    def disk_arguments(self):
        """Each of the board's disks as a drive of its own SCSI host."""
        disks = self.description['scsi']['disk']
        arguments = []
        # The kernel numbers them from the last one to the first.
        for host in range(max((disk['host'] for disk in disks), default=-1), -1, -1):
            arguments += ['-device', 'virtio-scsi-device,id=host%d' % host]
        for disk in disks:
            host, name = disk['host'], disk['name']
            self.drives[name] = dict(driver='scsi-hd', id=name, drive='drive-' + name,
                                     bus='host%d.0' % host, vendor=disk['vendor'],
                                     product=name, removable='on')
            arguments += ['-blockdev', 'driver=raw,node-name=drive-%s,file.driver=file,file.filename=%s' %
                          (name, self.disk_image(disk)),
                          '-device', ','.join('%s=%s' % pair if pair[0] != 'driver' else pair[1]
                                              for pair in self.drives[name].items())]
        return arguments

    def disk_image(self, disk):
        path = os.path.join(self.folder, disk['name'] + '.img')
        if os.path.exists(path):
            return path
        partitions = disk['partitions']
        with open(path, 'wb') as file:
            file.truncate(disk['size'] * 512)
            if partitions:
                table = b''.join(struct.pack('<8B2I', 0, 0, 0, 0, 0x0c, 0, 0, 0, start, size)
                                 for _, start, size in partitions)
                file.seek(446)
                file.write(table.ljust(64, b'\0') + b'\x55\xaa')
        if disk['vendor'] != 'ATA' and disk['mounts']:
            start, size = partitions[0][1:] if partitions else (0, disk['size'])
            output('mkfs.vfat', '-F', '32', '--offset', str(start), path, str(size // 2))
            content = os.path.join(self.made, 'disks/scsi-' + disk['name'])
            for name in os.listdir(content):
                output('mcopy', '-s', '-i', '%s@@%d' % (path, start * 512),
                       os.path.join(content, name), '::')
        return path

    def file_on(self, disk_name, name):
        """The content of a file on a disk's first partition, or None."""
        disk = next(each for each in self.description['scsi']['disk']
                    if each['name'] == disk_name)
        start = disk['partitions'][0][1] if disk['partitions'] else 0
        image = '%s@@%d' % (os.path.join(self.folder, disk_name + '.img'), start * 512)
        result = subprocess.run(['mcopy', '-n', '-i', image, '::' + name, '-'],
                                capture_output=True)
        return result.stdout if result.returncode == 0 else None

    # ---- Power ----

    def boot(self, image=None, arguments=()):
        """Gives the board power, with what the flash holds, or another image of it."""
        image = self.image if image is None else image
        initrd = self.archive(self.flash_image() if image is None else image)
        self.drives = {}
        command = ['qemu-system-arm', '-M', 'vexpress-a9', '-m', '256', '-display', 'none',
                   '-kernel', os.path.join(STATIC, 'uImage'),
                   '-dtb', os.path.join(STATIC, 'board.dtb'), '-initrd', initrd,
                   '-append', 'console=ttyAMA0 quiet loglevel=1 panic=1 cryptomgr.notests',
                   '-device', 'virtio-serial-device']
        eth0 = self.description['network'].get('eth0')
        command += ['-nic', 'user,id=eth0,restrict=on,mac=' + eth0['mac'],
                    '-object', 'filter-dump,id=dump,netdev=eth0,file=' +
                    os.path.join(self.folder, 'frames.pcap')] if eth0 else ['-nic', 'none']
        self.start(command + self.disk_arguments() + list(arguments))

    def cut_power(self):
        """Pulls the plug and returns what the flash and the clock chip hold at that moment."""
        path = os.path.join(self.folder, 'sram')
        self.qmp('stop')
        self.qmp('pmemsave', val=SRAM, size=SRAM_SIZE, filename=path)
        self.unplug()
        with open(path, 'rb') as file:
            self.image = file.read()
        return self.image

    def off(self):
        if self.started:
            self.shell('sync')
        self.cut_power()

    def restart(self):
        self.shell('sync')
        self.qmp('system_reset')

    def cut(self):
        self.qmp('system_reset')

    def state(self):
        on = self.qemu is not None
        return {'power': 'on' if on else 'off', 'boots': self.boots,
                'time': time.monotonic() - self.begin if on else 0.0}

    # ---- Acting on it ----

    def act(self, step):
        words = step.split()
        if step.startswith('wait sleep:'):
            while not self.started and not self.broken:
                time.sleep(0.1)
            time.sleep(1)  # of sleeps this kernel tells nothing
        elif step.startswith('wait '):
            self.wait(step[5:])
        elif words[0] == 'after':
            time.sleep(float(words[1]))
        elif words[0] in ON_BOARD and self.qemu is None:
            self.prepared.append(step)
        elif words[0] in ('frontboard', 'mcu') and words[1] == 'send':
            port = 'uart2' if words[0] == 'frontboard' else 'uart1'
            self.send(port, bytes.fromhex(words[2]))
        elif words[:2] == ['stick', 'pull']:
            self.qmp('device_del', id=words[2])
        elif words[:2] == ['stick', 'plug']:
            self.qmp('device_add', **dict(self.drives[words[2]], removable=True))
        elif words[:2] == ['power', 'cut']:
            self.qmp('system_reset')
        elif words[0] not in ON_BOARD or self.ask('board ' + step, ANSWER if self.started else PATIENCE):
            raise Failure("'%s': this board cannot do that" % step)

    def expect(self, text, within=10):
        try:
            return self.wait(text, within + PATIENCE)
        except Failure as failure:
            raise NotSeen(str(failure)) from None

    def expect_none(self, text, seconds):
        for line in self.listen(seconds):
            if text in line:
                raise AssertionError("'%s' came: %s" % (text, line))

    def type(self, line):
        self.send('console', line.encode() + b'\n')

    # ---- Programs and files ----

    def run(self, program, *arguments):
        words = shlex.join([program, *arguments])
        if '\n' in words:
            raise BoardError('a command is one line: %r' % words)
        lines = self.shell(words + ' 2>/tmp/messages', PATIENCE)
        status = re.search(r'status (\d+)$', lines[-1])
        lines[-1] = lines[-1][:status.start()]
        messages = self.shell('cat /tmp/messages')[:-1]
        return Result(int(status[1]), '\n'.join(lines), ''.join(line + '\n' for line in messages))

    def read(self, place, name):
        number = self.making.partition(place)
        content = self.making.content(self.made, place, name)
        if not self.boots:
            with open(content, 'rb') as file:
                return file.read()
        if number is None:
            if self.qemu is not None:
                self.shell('sync')
            data = self.file_on(place, name)
            if data is None:
                raise FileNotFoundError(name)
            return data
        if self.qemu is None:
            raise BoardError('the flash of this board can be read while it is on')
        point = self.shell("sed -n 's,^/dev/mtdblock%d \\([^ ]*\\) .*,\\1,p' /proc/mounts" % number)
        result = self.run('base64', os.path.join(point[0], name.lstrip('/')))
        if result.status != 0:
            raise FileNotFoundError(name)
        return base64.b64decode(result.output)

    def write(self, place, name, content):
        path = self.making.content(self.made, place, name)
        if self.boots:
            raise BoardError('files of this board are written before it is switched on')
        write_file(path, content)

    def only_virtual(self):
        """What of the board's description this machine lacks, or None."""
        if self.description['prepare']:
            return 'prepare'
        return next((step for step in self.description['scenario']
                     if step.startswith(ONLY_VIRTUAL)), None)


def show(line):
    print('%12.3f  %s' % (line.time, line.text) if isinstance(line, Event) else
          '%-14s|  %s' % ('', line.text), flush=True)


def run(options):
    with tempfile.TemporaryDirectory() as folder:
        with Board(options.name, folder=folder, programs_folder=options.programs, show=show) as board:
            if board.only_virtual():
                print("'%s': only the virtual board can do that; ./run %s" %
                      (board.only_virtual(), options.name))
                return 2
            print(board.description['summary'] + '\nLeft of the bar: what happens on the board '
                  'and the second. Right of it: its console.\n')
            board.boot()
            board.play()
            if options.stay:
                board.stay()
    return 0


def main():
    parser = argparse.ArgumentParser(description='Boots a board in QEMU and plays its scenario.')
    parser.add_argument('name', help='a board of boards/')
    parser.add_argument('--stay', action='store_true', help='leave the board on (Ctrl-C ends it)')
    parser.add_argument('--programs', default=PROGRAMS)
    options = parser.parse_args()
    signal.signal(signal.SIGTERM, lambda *unused: sys.exit(1))
    try:
        status = run(options)
    except (BoardError, NotSeen) as failure:
        print(failure)
        return 1
    except KeyboardInterrupt:
        status = 0
    if status == 0:
        print('\nThe board was switched off.')
    return status


if __name__ == '__main__':
    raise SystemExit(main())
