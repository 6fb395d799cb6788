"""The launcher on the emulated ARM board, beside the virtual board and against the real kernel."""

import datetime
import json
import os
import re
import shutil
import signal
import struct
import subprocess
import sys
import tarfile
import tempfile
import time
import unittest
import zlib

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, 'armboard'))

import board as armboard  # noqa: E402
import vboard  # noqa: E402

PROGRAMS = os.path.join(ROOT, 'build/arm/bin')

# What tells the time, the load or the memory, and when the launcher looks after the application,
# is not the same twice; the rest is the kernel's, which may come behind half a line.
CHANGING = re.compile(r'quillon is running|LIBDVR : CPU states|recorder: status|'
                      r'LIBDVR : \d+-\d+-\d+, today|.*\[ *\d+\.\d{6}\] ')

# A thread of its own prints these; nothing orders them and the others.
SCANNER = re.compile(r'hiir read|LIBDVR : open /dev/Hi_IR failed')


def boots(lines):
    """The lines of each boot that can be compared, and those of the scanner."""
    parts = []
    for line in lines:
        if line == 'Utils : sentrel':
            parts.append(([], []))
        if line and not CHANGING.match(line):
            parts[-1][bool(SCANNER.match(line))].append(line)
    return parts


def virtual_transcript(name):
    """What the same board's console shows on the virtual board."""
    with vboard.Board(name, command=armboard.VBOARD) as board:
        board.boot()
        board.play()
        return board.console


class BoardTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def board(self, name, **options):
        made = armboard.Board(name, folder=self.folder, **options)
        self.addCleanup(made.close)
        return made

    def run_on(self, board, command):
        """The lines that a command prints on the board; it has to succeed."""
        result = board.run('sh', '-c', command)
        self.assertEqual(0, result.status, '%s: %s' % (command, result))
        return result.output.splitlines()

    def until(self, board, command, status=0):
        """Repeats a command on the board until it ends so."""
        end = time.monotonic() + armboard.PATIENCE
        while board.shell(command)[-1] != 'status %d' % status:
            self.assertLess(time.monotonic(), end, command)
            time.sleep(0.1)


class TranscriptTest(BoardTest):
    """Line by line what the virtual board shows."""

    def compare(self, name, last):
        board = self.board(name)
        board.boot()
        board.play()
        self.hear(board, last)
        real, virtual = boots(board.console), boots(virtual_transcript(name))
        self.assertEqual(len(virtual), len(real))
        # How far the last programs of a boot come before the power goes is a matter of time.
        for ours, theirs in zip(real, virtual):
            for own, other in zip(ours, theirs):
                length = min(len(own), len(other))
                self.assertEqual(other[:length], own[:length])
            self.assertTrue(any(last in line for line in ours[0][:len(theirs[0])]), ours)
        return board

    def hear(self, board, text):
        """Waits until the console of the last boot has shown the text."""
        end = time.monotonic() + armboard.PATIENCE
        while not any(text in line for part in boots(board.console)[-1:] for line in part[0]):
            self.assertLess(time.monotonic(), end, text)
            time.sleep(0.1)

    def test_direct_start(self):
        self.compare('direct', 'recorder: running')

    def test_hand_back_service_key_and_restart(self):
        board = self.compare('supervised', 'begin to read Frontboard')
        self.assertEqual(2, sum('recorder: running' in line for line in board.console))
        self.assertIn('quillon is running', board.console)

    def test_config_partition_is_erased_and_mounts_after_the_reboot(self):
        board = self.compare('repair', 'Utils : Auto to start program')
        events = [event.text for event in board.events()]
        erased = [line for line in events[:events.index('power: on, boot 2')]
                  if line.startswith('flash: erase')]
        self.assertEqual(['flash: erase %08x' % address
                          for address in range(0x640000, 0x740000, 0x10000)], erased)

    def test_service_stick(self):
        board = self.compare('service-stick', 'xapp = 1, xuart  = 1')
        board.off()
        log = board.read('stick', 'printf.txt')
        line, text = log.split(b'\0', 1)
        self.assertEqual(b'ip = 192.168.1.20, netmask = 255.255.255.0, gateway = 192.168.1.1\n', line)
        self.assertIn(b'Utils : Auto to start program\nrecorder: started as /opt/app/Quillon', text)
        self.assertEqual(b'service stick 7\n', board.read('stick', 'readme.txt'))

    def test_nothing_to_start(self):
        board = self.compare('nothing', 'xapp')
        events = [event.text for event in board.events()]
        self.assertEqual('power: on, boot 1', events[0])
        self.assertIn('exit: status 0', events[events.index('launcher starts'):])
        # A board without disks does not wait for their drivers.
        self.assertNotIn('vfat', ' '.join(self.run_on(board, 'lsmod')))

    def test_idle(self):
        board = self.compare('idle', 'xapp')
        time.sleep(1)
        self.assertIn('status 0', board.shell('pidof sentrel'))


def environment(image, offset, size):
    """The variables of a block of flash, read without the library."""
    block = image[offset:offset + size]
    assert struct.unpack('<I', block[:4])[0] == zlib.crc32(block[4:]), 'the CRC is wrong'
    entries = block[4:].split(b'\0\0', 1)[0].split(b'\0')
    return dict(entry.decode().split('=', 1) for entry in entries if entry)


class RealKernelTest(BoardTest):
    BLOCK, SIZE = 0x30000, 0x10000

    def start(self, name, **options):
        board = self.board(name, **options)
        board.boot()
        board.expect('recorder: running')
        return board

    def test_boot_variables_through_the_flash_driver(self):
        board = self.start('direct')
        self.run_on(board, 'boardctl env set service "on duty"')
        self.assertEqual(['on duty'], self.run_on(board, 'boardctl env get service'))
        variables = environment(board.cut_power(), self.BLOCK, self.SIZE)
        self.assertEqual({'bootdelay': '1', 'baudrate': '115200', 'xuart': '0', 'xapp': '1',
                          'service': 'on duty'}, variables)

    def test_power_cut_inside_a_save(self):
        for moment in ('flash: erase 00030000', 'flash: write 00030000'):
            with self.subTest(moment):
                board = self.board('direct', options=['slow=100'])
                board.boot()
                board.expect('recorder: running')
                board.shell('(boardctl env set service lost >/dev/null 2>&1 &)')
                board.expect(moment)
                image = board.cut_power()
                others = image[:self.BLOCK]
                with self.assertRaises((AssertionError, ValueError), msg='it was saved already'):
                    environment(image, self.BLOCK, self.SIZE)
                board.boot(image)
                board.expect('xapp = ')  # an empty list, an old or a new one: the launcher copes
                names = board.shell('boardctl env list --json')
                self.assertEqual('status 0', names[-1], names)
                self.run_on(board, 'boardctl env set xapp 1')
                self.assertEqual(['1'], self.run_on(board, 'boardctl env get xapp'))
                self.assertEqual(others, board.cut_power()[:self.BLOCK])

    def test_flash_that_fails(self):
        board = self.start('direct')
        for operation, said in (('erase', 'Mem Erase Failed'), ('write', 'Write Mtd Failed')):
            board.act('flash fail %s 1' % operation)
            lines = board.shell('boardctl env set service lost')
            self.assertIn(said, ' '.join(lines))
            self.assertNotEqual('status 0', lines[-1])
            self.run_on(board, 'boardctl env set xapp 1')
            self.assertEqual(['1'], self.run_on(board, 'boardctl env get xapp'))

    def test_a_guest_that_is_gone_is_a_failure(self):
        board = self.start('direct')
        board.qmp('stop')
        with self.assertRaisesRegex(armboard.Failure, '(?s)does not answer.*recorder: running'):
            board.shell('echo late', seconds=1)
        board.qmp('cont')
        self.assertEqual(['in time'], self.run_on(board, 'echo in time'))
        board.shell('(sleep 1; echo c >/proc/sysrq-trigger) >/dev/null 2>&1 & true')
        with self.assertRaisesRegex(armboard.Failure, 'Kernel panic'):
            board.wait('never')
        board.qemu.kill()
        board.follower.join()
        for use in (board.stay, lambda: board.shell('true')):
            with self.assertRaisesRegex(armboard.Failure, 'QEMU ended'):
                use()

    def test_a_board_left_on_ends_with_its_machine(self):
        process = subprocess.Popen(['python3', 'armboard/board.py', 'nothing', '--stay'],
                                   cwd=ROOT, stdout=subprocess.PIPE, text=True)
        self.addCleanup(process.kill)
        self.assertTrue(any('exit: status 0' in line for line in process.stdout))
        with open('/proc/%d/task/%d/children' % (process.pid, process.pid)) as children:
            os.kill(int(children.read()), signal.SIGKILL)
        self.assertIn('QEMU ended\n', process.communicate(timeout=armboard.PATIENCE)[0])
        self.assertEqual(1, process.returncode)

    def test_network(self):
        board = self.start('direct')
        self.run_on(board, 'boardctl net set eth0 10.0.2.20 255.255.255.0 10.0.2.2')
        self.assertIn('inet addr:10.0.2.20  Bcast:10.0.2.255  Mask:255.255.255.0',
                      ' '.join(self.run_on(board, 'ifconfig eth0')))
        routes = self.run_on(board, 'route -n')
        self.assertTrue(any(re.match(r'0\.0\.0\.0 +10\.0\.2\.2 .*eth0', line) for line in routes))
        self.assertEqual(['HOSTIP = 10.0.2.20'],
                         self.run_on(board, 'grep HOSTIP /opt/sav/Config/network'))
        for state, link in ((False, 'down'), (True, 'up')):
            board.qmp('set_link', name='eth0', up=state)
            self.until(board, """boardctl net show --json | grep '"link": "%s"'""" % link)
        # After the link is there the announcement goes out on the wire.
        self.run_on(board, 'boardctl net set eth0 10.0.2.21 255.255.255.0')
        board.off()
        with open(os.path.join(self.folder, 'frames.pcap'), 'rb') as file:
            frames = file.read()
        mac, address = bytes.fromhex('00005e005301'), bytes([10, 0, 2, 21])
        arp = (b'\xff' * 6 + mac + bytes.fromhex('08060001080006040002') + mac + address +
               bytes(6) + address + bytes(18))
        self.assertIn(arp, frames)

    def test_watchdog_fed_and_stopped(self):
        board = self.start('supervised')
        state = '/sys/class/watchdog/watchdog0/state'
        timeout = '/sys/class/watchdog/watchdog0/timeout'
        self.assertEqual(['active'], self.run_on(board, 'cat ' + state))
        self.assertEqual(['180'], self.run_on(board, 'cat ' + timeout))
        board.act('ir send 12 1')  # a key that is held would restart the application
        board.expect('recorder: hands control back')
        board.expect('begin to read Frontboard')
        self.assertEqual(['inactive'], self.run_on(board, 'cat ' + state))

    def test_disks_in_todays_sysfs(self):
        board = self.start_with_stick()
        disks = json.loads(''.join(self.run_on(board, 'boardctl disks --json')))
        self.assertEqual([('sda', 'internal', 1953525168, 1), ('sdb', 'external', 15654912, 1)],
                         [(disk['device'], disk['class'], disk['sectors'], disk['partitions'])
                          for disk in disks])

    def start_with_stick(self):
        board = self.board('service-stick')
        board.boot()
        board.expect('start: /opt/app/Quillon')
        board.expect('gpio: 5,5 = 0')
        return board

    def test_the_stick_is_pulled_while_the_application_prints(self):
        board = self.start_with_stick()
        board.act('stick pull stick')
        self.until(board, 'test -e /dev/sdb', 1)
        time.sleep(3)  # status lines go on
        self.assertIn('status 0', board.shell('pidof Quillon'))
        board.act('stick plug stick')
        self.until(board, 'ls /dev/sd[b-z]')

    def test_clock_is_kept_over_a_reset(self):
        board = self.start('direct')
        for time_set, later, power in (
                ('2031-02-28 23:59:58', '2031-03-01 00:00:00', 'reset'),
                ('2031-01-31 10:00:00', '2031-01-31 10:00:00', 'cut')):
            self.run_on(board, 'boardctl clock set ' + time_set)
            if power == 'reset':
                board.qmp('system_reset')
            else:
                board.boot(board.cut_power())
            board.expect('recorder: running')
            shown = json.loads(''.join(self.run_on(board, 'boardctl clock get --json')))
            passed = (datetime.datetime.fromisoformat(shown['time']) -
                      datetime.datetime.fromisoformat(later)).total_seconds()
            self.assertTrue(0 <= passed < armboard.PATIENCE, shown)

    def test_serial_port(self):
        board = self.start('direct')
        link = board.links['uart1']
        link.settimeout(10)
        for baud in (50, 75, 110, 134, 150, 200, 300, 600, 1200, 1800, 2400, 4800, 9600, 19200, 38400,
                     57600, 115200):
            self.run_on(board, 'boardctl uart send 1 %d 0x41 0xff 0x0a' % baud)
            data = b''
            while len(data) < 3:
                data += link.recv(3 - len(data))
            self.assertEqual(b'A\xff\n', data)
            self.assertIn('speed %d baud' % baud,
                          ' '.join(self.run_on(board, 'stty -F /dev/ttyAMA1')))
        board.shell('(boardctl uart listen 1 9600 2 --json >/tmp/heard 2>&1 &)')
        self.until(board, 'stty -F /dev/ttyAMA1 | grep 9600')
        link.sendall(b'\x11\xff')
        self.until(board, 'pidof boardctl', 1)
        self.assertEqual(['{"byte": "0x11"}', '{"byte": "0xff"}'],
                         self.run_on(board, 'cat /tmp/heard'))


class ReleaseTest(unittest.TestCase):
    """The archive for the target holds what a maker of an application needs."""

    def test_an_application_links_against_the_archive(self):
        with tempfile.TemporaryDirectory() as folder:
            with tarfile.open(os.path.join(ROOT, 'build/arm/sentrel-1.0-arm.tar.gz')) as archive:
                archive.extractall(folder)
            release = os.path.join(folder, 'sentrel-1.0-arm')
            for program in ('sentrel', 'boardctl'):
                with open(os.path.join(release, 'sbin', program), 'rb') as file:
                    # An ELF file of 32 bits for ARM that needs no loader.
                    self.assertEqual(b'\x7fELF\x01', file.read(5))
                shown = self.output('readelf', '-hlA', file.name)
                self.assertIn('ARM', shown)
                self.assertIn('Tag_CPU_arch: v5TE', shown)
                self.assertNotIn('INTERP', shown)
            for kind in ([], ['-static']):
                application = os.path.join(folder, 'application')
                # The archive suits a linker that optimises nothing.
                self.output('arm-linux-gnueabi-gcc', '-o', application, *kind,
                            '-fno-use-linker-plugin',
                            os.path.join(ROOT, 'examples/recorder/recorder.c'),
                            '-I' + release + '/include', '-L' + release + '/lib', '-lsys')
                needs = self.output('arm-linux-gnueabi-readelf', '-d', application)
                self.assertEqual(not kind, '[libsys.so.1]' in needs)

    def test_the_launcher_is_small(self):
        for preset, most in (('arm-musl', 100), ('armhf-musl', 80)):
            with tempfile.NamedTemporaryFile() as stripped:
                self.output('arm-linux-gnueabi-strip', '-o', stripped.name,
                            os.path.join(ROOT, 'build', preset, 'bin/sentrel'))
                self.assertLessEqual(os.path.getsize(stripped.name), most * 1024, preset)

    def output(self, *command):
        return subprocess.run(command, check=True, capture_output=True, text=True).stdout


class ToolTest(unittest.TestCase):
    def test_what_cannot_be_done_is_refused_with_the_reason(self):
        with tempfile.TemporaryDirectory() as folder:
            for command, reason in (
                    ('./run direct --arm --speed 20', 'keeps its own time'),
                    ('cmake --preset arm-musl -DSENTREL_MUSL=/none -B ' + folder, "'./run --arm'")):
                result = subprocess.run(command.split(), cwd=ROOT, capture_output=True, text=True)
                self.assertNotEqual(0, result.returncode)
                self.assertIn(reason, result.stderr)

    def test_a_board_that_does_not_boot_says_why(self):
        with tempfile.TemporaryDirectory() as folder:
            qemu = os.path.join(folder, 'qemu-system-arm')
            for script, programs, status, said in (
                    ('', '/none', 1, '/none: no folder of programs'),
                    ('echo out of memory >&2; exit 1', PROGRAMS, 1, 'not start: out of memory'),
                    ('kill -INT $PPID; exec sleep 60', PROGRAMS, 0, 'was switched off')):
                with open(qemu, 'w') as file:
                    file.write('#!/bin/sh\n' + script)
                os.chmod(qemu, 0o755)
                result = subprocess.run(
                    ['env', '--default-signal=INT', 'python3', 'armboard/board.py', 'direct',
                     '--programs', programs], cwd=ROOT, capture_output=True, text=True,
                    env=dict(os.environ, PATH=folder + ':' + os.environ['PATH']))
                self.assertEqual((status, ''), (result.returncode, result.stderr))
                self.assertRegex(result.stdout, said)

    def test_a_description_is_complete(self):
        with tempfile.NamedTemporaryFile(mode='w', suffix='.toml') as file:
            file.write('summary = ""\n[[flash.partition]]\nname = "boot"\nsize = 0x40000\n'
                       '[[scsi.disk]]\nname = "a"\nletter = "a"\nhost = 2\n')
            file.flush()
            described = subprocess.run([armboard.VBOARD, 'describe', file.name], check=True,
                                       capture_output=True).stdout
        board = json.loads(described)
        self.assertEqual((0x20000, 'erased', 'ATA', 0x40000, 2),
                         (board['flash']['sector_size'], board['flash']['partition'][0]['content'],
                          board['scsi']['disk'][0]['vendor'], board['flash']['partition'][0]['size'],
                          board['scsi']['disk'][0]['host']))
        self.assertEqual((False, True, [], {}),
                         (board['infrared']['fitted'], board['console']['fitted'],
                          board['gpio']['inputs'], board['programs']))


class WatchdogTest(BoardTest):
    def test_a_board_that_is_not_fed_restarts_and_one_that_is_fed_does_not(self):
        fed = armboard.Board('supervised', folder=self.folder + '/fed')
        self.addCleanup(fed.close)
        fed.boot()
        fed.expect('recorder: running')
        unfed = self.board('supervised')
        unfed.boot()
        unfed.expect('recorder: running')
        self.run_on(unfed, 'killall -STOP Vantor')
        begin = time.monotonic()
        unfed.expect('power: on, boot 2', within=400)
        self.assertGreater(time.monotonic() - begin, 170)
        self.assertEqual(1, fed.boots)
        self.assertIn('status 0', fed.shell('pidof Vantor'))


if __name__ == '__main__':
    unittest.main()
