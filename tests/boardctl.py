"""Each of boardctl's commands on a virtual board: usage: boardctl.py VBOARD PROGRAMS."""
import json
import os
import subprocess
import sys
import tempfile
import time

LONG = 'x' * 700
BOARD = '''
base = "%s/boards/panel-oem2.toml"
[network.eth0]
mac = "00:00:5e:00:53:01"
[identity]
product = "0000800000000004"
[[scsi.disk]]
name = "recordings"
host = 0
letter = "a"
size = 1000
partitions = [[1, 63, 900]]
'''
# Little is there: no flash, no clock chip, no watchdog in use, a fan of its own.
BARE_BOARD = '''
summary = "a bare board"
[identity]
product = "0000000000000010"
oem = 0
[clock]
fitted = false
'''

# Command, exit status, what the output holds or, for JSON, is, and what then happens on the board.
# A line with "!" acts on the board first; one with "&" acts while the command runs, after an event.
CASES = [
    ('env set mode night', 0, '', 'flash: erase'),
    ('env get mode', 0, 'night\n'),
    ('--json env get mode', 0, {'mode': 'night'}),
    ('env delete mode', 0, ''),
    ('env get mode', 1, "there is no boot variable 'mode'"),
    ('env delete mode', 1, 'there is no boot variable'),
    ('env set a=b c', 2, 'this is no name'),
    ('env set long ' + LONG, 0, ''),
    ('env get long', 0, LONG + '\n'),
    ('env list', 0, 'xapp           1\n'),
    ('env list', 0, 'long           ' + LONG + '\n'),
    ('flash list', 0, 'config         0x80640000     0x00100000     0x10000        /dev/mtd3\n'),
    ('flash dump boot', 0, 'xuart=0'),
    ('flash dump nowhere', 1, "there is no flash partition 'nowhere'"),
    ('flash erase boot', 1, 'erase it with --force only'),
    ('flash erase kernel', 0, '', 'flash: erase mtd1 0x1f0000'),
    ('hwid 30 --json', 0, {'command': 30, 'value': 2, 'name': 'OEM_TYPE'}),
    ('hwid 32', 2, 'COMMAND is a number from 0 to 31'),
    ('product', 0, 'identifier     0000800000000004\n'),
    ('serial get', 1, 'there is no serial number'),
    ('serial set 4711', 0, ''),
    ('serial get', 0, '4711\n'),
    ('serial set %s' % ('x' * 32), 2, '1 to 31 characters'),
    ('gpio get 1 5', 0, '0\n'),
    ('gpio get 8 0', 2, 'GROUP is a number from 0 to 7'),
    ('gpio set 3 1 1', 0, '', 'gpio: 3,1 = 1'),
    ('gpio set 3 1 2', 2, 'LEVEL is a number from 0 to 1'),
    ('mem write 0x200f0028 0x12345678', 0, ''),
    ('mem read 0x200f0028', 0, '0x200f0028     0x12345678\n'),
    ('mem read 3', 2, 'ADDRESS is a multiple of 4'),
    ('! fault once open /dev/mem 1 EACCES',),
    ('mem write 0x200f0028 1', 1, 'cannot be written'),
    ('uart send 2 9600 0xff 1', 0, '', 'uart2: sent ff 01'),
    ('uart send 2 9601 1', 1, 'does not open with 9601 baud'),
    ('& uart send 2 4107', 'uart2: 9600 baud'),
    ('uart listen 2 9600 2', 0, '0x41\nbyte           0x07\n'),
    ('uart listen 0 9600', 2, 'PORT is 1 to 3'),
    ('! key press 7',),
    ('key 1', 0, 'pressed        1\n'),
    ('key x', 2, 'COUNT is a number'),
    ('led 0x09 1', 0, '', 'gpio: 1,6'),
    ('led 0x08 1', 2, 'CODE is 0x09 to 0x0e'),
    ('beep', 0, '', 'gpio: 5,5 buzzer = 1'),
    ('beep 70', 2, 'a multiple of 50'),
    ('fan 1', 1, 'has no fan'),
    ('fan on', 2, 'STATE is a number'),
    ('clock set 2031-02-28 23:59:58', 0, '', 'clock set to'),
    ('clock get', 0, 'time           2031-'),
    ('clock set 2031-02-30 10:00:00', 2, 'a time of the years 2000 to 2099'),
    ('clock set 2031-+2-03 10:00:00', 2, 'a time of the years 2000 to 2099'),
    ('nvram write 100 1 0xfe', 0, ''),
    ('nvram read 100 2', 0, '101            0xfe\n'),
    ('nvram read 248', 2, 'ADDRESS is a number from 0 to 247'),
    ('temp', 0, '42\n'),
    ('net set eth0 10.1.2.3 255.255.255.0 10.1.2.1', 0, '', 'route'),
    ('net show', 0, 'eth0           00:00:5e:00:53:01 10.1.2.3       255.255.255.0  10.1.2.1'),
    ('net set eth9 10.1.2.3 255.255.255.0', 2, 'INTERFACE is'),
    ('net set eth0 10.1.2.3 255.255.255.0 router', 2, "'router' is no address"),
    ('net set eth0 10.1.2.3 255.0.255.0', 2, "'255.0.255.0' is no netmask"),
    ('net set eth0 10.1.2.3 0.0.0.0', 2, "'0.0.0.0' is no netmask"),
    ('net set eth0 10.1.2.3 255.255.255.255', 2, 'is no netmask'),
    ('net set eth0 10.1.2.0 255.255.255.0', 2, "no host's address"),
    ('net set eth0 10.1.2.255 255.255.255.0', 2, "no host's address"),
    ('net set eth0 224.1.2.3 255.255.255.0', 2, "no host's address"),
    ('net set eth0 10.1.2.3 255.255.255.0 10.1.3.1', 2, 'no other host in the network'),
    ('net set eth0 10.1.2.3 255.255.255.0 10.1.2.3', 2, 'no other host in the network'),
    ('net set eth0 10.1.2.3 255.255.255.0 10.1.2.255', 2, 'no other host in the network'),
    ('net set eth0 10.1.2.4 255.255.255.254 10.1.2.5', 0, ''),
    ('net set eth0 10.1.2.3 255.255.255.0 10.1.2.1', 0, ''),
    # Whichever step fails, everything is as it was.
    *[case for fault in ('ioctl SIOCSIFNETMASK 1', 'sendto eth0 1', 'ioctl SIOCADDRT 2',
                         'fopen /opt/sav/Config/network 8')
      for case in (('! fault once %s EIO' % fault,),
                   ('net set eth0 172.16.100.200 255.255.0.0 172.16.0.1', 1, 'everything is as it was',
                    'route add default via 10.1.2.1 dev eth0'),
                   ('net show', 0, 'eth0           00:00:5e:00:53:01 10.1.2.3       255.255.255.0  10.1.2.1'),
                   ('nvram read 40 4', 0, '43             0x03\n'))],
    ('--json disks', 0, [{'device': 'sda', 'class': 'internal', 'sectors': 1000, 'partitions': 1}]),
    ('watchdog feed 1', 0, '', 'watchdog: stopped'),
    ('watchdog feed', 2, 'wrong number of arguments'),
    ('! fault once ioctl /dev/watchdog 2 EIO',),
    ('watchdog feed 2', 1, 'the watchdog does not answer', 'watchdog: stopped'),
    ('status', 0, 'load-percent   15\n'),
    ('watchdog reboot', 0, '', 'watchdog: restart requested'),
    ('nothing', 2, 'there is no such command'),
    ('nothing --help', 2, 'there is no such command'),
    ('--help', 0, 'usage: boardctl'),
    ('env --help', 0, 'env delete NAME'),
    ('env get --help', 0, 'usage: boardctl [OPTION...] env get NAME\n'),
    ('--man', 0, '.SH COMMANDS'),
    ('--wrong', 2, 'is no option'),
]
BARE_CASES = [
    ('env list', 1, 'cannot be read'),
    ('flash list', 1, 'there are no flash partitions'),
    ('nvram write 0 1', 1, 'the clock chip does not answer'),
    ('temp', 1, 'does not open'),
    ('clock get', 1, 'the clock chip does not answer'),
    ('net show', 1, 'there are no network interfaces'),
    ('fan 1', 0, '', 'gpio: 0,6 = 1'),
    ('watchdog feed 1', 1, 'does not use its watchdog'),
    ('watchdog reboot', 1, 'does not use its watchdog'),
]


class Bench:
    """A board on which boardctl runs."""

    def __init__(self, vboard, programs, folder, description):
        self.folder = folder
        self.vboard = [vboard, '--folder', folder + '/board', '--programs', programs]
        self.boardctl = self.vboard + ['exec', programs + '/boardctl']
        os.mkdir(folder)
        with open(folder + '/board.toml', 'w') as file:
            file.write(description)
        self.act(['make', folder + '/board.toml'])
        os.makedirs(folder + '/board/root/opt/sav/Config')  # as if mounted

    def act(self, words):
        subprocess.run(self.vboard + words, check=True, capture_output=True)

    def events(self):
        with open(self.folder + '/board/events') as file:
            return file.read()

    def check(self, action, command, status, expected, event=''):
        before = len(self.events())
        process = subprocess.Popen(self.boardctl + command.split(), stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, text=True, errors='replace')
        if action:
            words, after = action
            for _ in range(300):
                if after in self.events()[before:]:
                    break
                time.sleep(0.1)
            self.act(words.split())
        output, messages = process.communicate(timeout=60)
        if isinstance(expected, str):
            good = expected in (output if status == 0 else messages)
        else:
            good = json.loads(output) == expected
        if process.returncode == status and good and event in self.events()[before:]:
            return True
        print('boardctl %s: %d\n%s%s%s' % (command, process.returncode, output, messages,
                                          self.events()[before:]))
        return False

    def check_all(self, cases):
        failed, action = 0, None
        for case in cases:
            kind, _, words = case[0].partition(' ')
            if kind == '!':
                self.act(words.split())
            elif kind == '&':
                action = (words, case[1])
            else:
                failed += not self.check(action, *case)
                action = None
        return failed


def main(vboard, programs):
    source = __file__.rsplit('/', 2)[0]
    with tempfile.TemporaryDirectory() as folder:
        bench = Bench(vboard, programs, folder + '/full', BOARD % source)
        bare = Bench(vboard, programs, folder + '/bare', BARE_BOARD)
        return bench.check_all(CASES) + bare.check_all(BARE_CASES) != 0


sys.exit(main(*sys.argv[1:]))
