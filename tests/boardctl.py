"""Each of boardctl's commands on a virtual board: usage: boardctl.py VBOARD PROGRAMS."""
import json
import subprocess
import sys
import tempfile

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

# Command, exit status, and what the output holds or, for JSON, is.
CASES = [
    ('env set mode night', 0, ''),
    ('env get mode', 0, 'night\n'),
    ('--json env get mode', 0, {'mode': 'night'}),
    ('env delete mode', 0, ''),
    ('env get mode', 1, "there is no boot variable 'mode'"),
    ('env delete mode', 1, 'there is no boot variable'),
    ('env set a=b c', 2, 'this is no name'),
    ('env list', 0, 'xapp           1\n'),
    ('flash list', 0, 'config         0x80640000     0x00100000     0x10000        /dev/mtd3\n'),
    ('flash dump boot', 0, 'xuart=0'),
    ('flash dump nowhere', 1, "there is no flash partition 'nowhere'"),
    ('flash erase boot', 1, 'erase it with --force only'),
    ('flash erase kernel', 0, ''),
    ('hwid 30 --json', 0, {'command': 30, 'value': 2, 'name': 'OEM_TYPE'}),
    ('hwid 32', 2, 'COMMAND is a number from 0 to 31'),
    ('product', 0, 'identifier     0000800000000004\n'),
    ('serial get', 1, 'there is no serial number'),
    ('serial set 4711', 0, ''),
    ('serial get', 0, '4711\n'),
    ('serial set %s' % ('x' * 32), 2, '1 to 31 characters'),
    ('gpio get 1 5', 0, '0\n'),
    ('gpio get 8 0', 2, 'GROUP is a number from 0 to 7'),
    ('gpio set 3 1 1', 0, ''),
    ('gpio set 3 1 2', 2, 'LEVEL is a number from 0 to 1'),
    ('mem write 0x200f0028 0x12345678', 0, ''),
    ('mem read 0x200f0028', 0, '0x200f0028     0x12345678\n'),
    ('mem read 3', 2, 'ADDRESS is a multiple of 4'),
    ('uart send 2 9600 0xff 1', 0, ''),
    ('uart send 2 9601 1', 1, 'does not open with 9601 baud'),
    ('uart listen 4 9600', 2, 'PORT is a number from 0 to 3'),
    ('key x', 2, 'COUNT is a number'),
    ('led 0x09 1', 0, ''),
    ('led 0x08 1', 2, 'CODE is 0x09 to 0x0e'),
    ('beep', 0, ''),
    ('beep 70', 2, 'a multiple of 50'),
    ('fan 1', 0, ''),
    ('fan on', 2, 'STATE is a number'),
    ('clock set 2031-02-28 23:59:58', 0, ''),
    ('clock get', 0, 'time           2031-'),
    ('clock set 2031-02-28 24:00:00', 2, 'a time of the years 2000 to 2099'),
    ('nvram write 100 1 0xfe', 0, ''),
    ('nvram read 100 2', 0, '101            0xfe\n'),
    ('nvram read 248', 2, 'ADDRESS is a number from 0 to 247'),
    ('temp', 0, '42\n'),
    ('net set eth0 10.1.2.3 255.255.255.0 10.1.2.1', 0, ''),
    ('net show', 0, 'eth0           00:00:5e:00:53:01 '),
    ('net set eth9 10.1.2.3 255.255.255.0', 2, 'INTERFACE is'),
    ('net set eth0 10.1.2.300 255.255.255.0', 1, 'does not take this address'),
    ('--json disks', 0, [{'device': 'sda', 'class': 'internal', 'sectors': 1000, 'partitions': 1}]),
    ('watchdog feed 2', 0, ''),
    ('watchdog feed', 2, 'wrong number of arguments'),
    ('status', 0, 'load-percent   15\n'),
    ('watchdog reboot', 0, ''),
    ('nothing', 2, 'there is no such command'),
    ('--help', 0, 'usage: boardctl'),
    ('env --help', 0, 'env delete NAME'),
    ('--man', 0, '.SH COMMANDS'),
    ('--wrong', 2, 'is no option'),
]


def main(vboard, programs):
    source = __file__.rsplit('/', 2)[0]
    failed = 0
    with tempfile.TemporaryDirectory() as folder:
        with open(folder + '/board.toml', 'w') as file:
            file.write(BOARD % source)
        on_board = [vboard, '--folder', folder + '/board', '--programs', programs]
        subprocess.run(on_board + ['make', folder + '/board.toml'], check=True)
        for command, status, expected in CASES:
            result = subprocess.run(on_board + ['exec', programs + '/boardctl'] + command.split(),
                                    capture_output=True, text=True, errors='replace')
            output = result.stdout if status == 0 else result.stderr
            if isinstance(expected, str):
                good = expected in output
            else:
                good = json.loads(result.stdout) == expected
            if result.returncode != status or not good:
                failed += 1
                print('boardctl %s: %d\n%s%s' % (command, result.returncode, result.stdout,
                                                 result.stderr))
    return failed != 0


sys.exit(main(*sys.argv[1:]))
