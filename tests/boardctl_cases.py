"""The boards on which boardctl is tested, and what it is asked there."""
import os
import signal

SOURCES = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
LONG = 'x' * 700
# Each byte belongs to no character: of what is too long, a surrogate or too high, or ends too early.
MALFORMED = (b'\xc0\x80\xc1\xbf\xc3\xc0\xe0\x9f\xbf\xed\xa0\x80\xf0\x8f\xbf\xbf\xf4\x90\x80\x80'
             b'\xf5\x80\x80\x80\xe2\x82\xc0\xff\xe2\x82').decode(errors='surrogateescape')
# The first and the last character of each form that UTF-8 has.
EDGES = ''.join(map(chr, (1, 0x7f, 0x80, 0x7ff, 0x800, 0xfff, 0x1000, 0xcfff, 0xd000, 0xd7ff, 0xe000, 0xffff,
                          0x10000, 0x3ffff, 0x40000, 0xfffff, 0x100000, 0x10ffff)))
BOARD = '''
base = "%s/boards/panel-oem2.toml"
[network.eth0]
mac = "00:00:5e:00:53:01"
[network.eth2]
mac = "00:00:5e:00:53:03"
[identity]
product = "0000800000000004"
[[scsi.disk]]
name = "recordings"
host = 0
letter = "a"
size = 1000
partitions = [[1, 63, 900]]
[[scsi.disk]]
name = "stick"
vendor = "Generic"
host = 1
letter = "b"
size = 2000
partitions = [[1, 63, 900], [2, 963, 900]]
''' % SOURCES
# Command, exit status, what the output or after a failure the messages hold or, for JSON, what the
# output is, and what then happens on the board or, after a "-", does not. A line with "!" acts on the
# board first; those with "&" and "%" act or send a signal while the command runs, after an event.
CASES = [
    ('env set mode night', 0, '', 'flash: erase'),
    ('env get mode', 0, 'night\n'),
    ('--json env get mode', 0, {'mode': 'night'}),
    ('env delete mode', 0, ''),
    ('env get mode', 1, "there is no boot variable 'mode'"),
    ('env delete mode', 1, "there is no boot variable 'mode'"),
    ('! fault once ioctl /dev/mtd0 1 EIO',),
    ('env set mode day', 1, 'the boot variables cannot be saved'),
    ('! fault once read /dev/mtd0 1 EIO',),
    ('env get mode', 1, 'the boot variables cannot be read'),
    ('! fault once ioctl /dev/mtd0 1 EIO',),
    ('env delete xapp', 1, 'the boot variables cannot be saved'),
    (r'env set odd a"\é漢🎉', 0, ''),
    ('--json env get odd', 0, '{"odd": "a\\"\\\\é漢🎉"}\n'),
    ('env set odd ' + MALFORMED, 0, ''),
    ('--json env get odd', 0, {'odd': '\ufffd' * len(MALFORMED),
                               'odd-bytes': MALFORMED.encode(errors='surrogateescape').hex()}),
    ('env set b\udcff 1', 0, ''),
    ('--json env get b\udcff', 0, {'b\ufffd': '1', 'name-bytes': '62ff'}),
    ('env delete b\udcff', 0, ''),
    ('env set edges ' + EDGES, 0, ''),
    ('--json env get edges', 0, {'edges': EDGES}),
    ('env delete edges', 0, ''),
    ('env -- get --json', 1, "there is no boot variable '--json'"),
    ('env', 2, 'env delete NAME'),
    ('env nothing', 2, "there is no such command; these begin with 'env'"),
    ('env set a=b c', 2, 'this is no name'),
    ('env set long ' + LONG, 0, ''),
    ('env get long', 0, LONG + '\n'),
    ('env list', 0, 'xapp           1\n'),
    ('env list', 0, 'long           ' + LONG + '\n'),
    ('flash list', 0, 'config         0x80640000     0x00100000     0x10000        /dev/mtd3\n'),
    ('flash dump boot', 0, 'xuart=0'),
    ('--json flash dump boot', 2, 'with --json there is a FILE'),
    ('flash dump boot /nowhere/copy', 1, 'cannot create /nowhere/copy'),
    ('! fault once read /dev/mtd1 1 EIO',),
    ('flash dump kernel', 1, 'cannot read the flash at 0x80040000'),
    ('--json flash dump config /opt/sav/copy', 0, {}),
    ('flash dump config /opt/sav/full', 1, 'the copy cannot be written'),
    ('flash dump nowhere', 1, "there is no flash partition 'nowhere'"),
    ('flash erase boot', 1, "without 'boot' this board does not start: erase it with --force only"),
    ('! fault once ioctl /dev/mtd1 1 EIO',),
    ('flash erase kernel', 1, 'cannot erase 0x80040000'),
    ('flash erase kernel', 0, '', 'flash: erase mtd1 0x1f0000'),
    ('hwid 30 --json', 0, {'command': 30, 'value': 2, 'name': 'OEM_TYPE'}),
    ('hwid', 0, 'OEM_TYPE'),
    ('hwid 32', 2, 'COMMAND is a number from 0 to 31'),
    ('product', 0, 'identifier     0000800000000004\n'),
    ('--verbose product', 0, 'DVR_4D1'),
    ('serial get', 1, 'there is no serial number'),
    ('! fault once ioctl /dev/mtd0 1 EIO',),
    ('serial set 4711', 1, 'the serial number cannot be saved'),
    ('serial set 4711', 0, ''),
    ('serial get', 0, '4711\n'),
    ('serial set ' + 'x' * 32, 0, ''),
    ('serial get', 0, 'x' * 32 + '\n'),
    ('serial set ' + 'x' * 33, 2, 'NUMBER has 1 to 32 characters'),
    ('gpio get 1 5', 0, '0\n'),
    ('gpio get 8 0', 2, 'GROUP is a number from 0 to 7'),
    ('! fault once ioctl /dev/hi_gpio 1 EIO',),
    ('gpio get 1 5', 1, 'the line cannot be read'),
    ('! fault once ioctl /dev/hi_gpio 1 EIO',),
    ('gpio set 3 1 1', 1, 'the line cannot be driven'),
    ('gpio set 3 1 1', 0, '', 'gpio: 3,1 = 1'),
    ('gpio set 3 1 2', 2, 'LEVEL is a number from 0 to 1'),
    ('mem write 0x200f0028 0x12345678', 0, ''),
    ('mem read 0x200f0028', 0, '0x200f0028     0x12345678\n'),
    ('mem read 0x200f0024 3', 0, '0x200f0028     0x12345678\n0x200f002c '),
    ('! fault once open /dev/mem 1 EACCES',),
    ('mem read 0x200f0028', 1, '0x200f0028 cannot be read'),
    ('mem read 0xfffffff8 3', 2, 'memory ends at 0xffffffff'),
    ('mem read 3', 2, 'ADDRESS is a multiple of 4'),
    ('! fault once open /dev/mem 1 EACCES',),
    ('mem write 0x200f0028 1', 1, 'cannot be written'),
    ('uart send 2 9600 0XFF 1', 0, '', 'uart2: sent ff 01'),
    ('! fault once write /dev/ttyAMA2 1 EIO',),
    ('uart send 2 9600 1', 1, 'the port does not take it'),
    ('! fault once read /dev/ttyAMA2 1 EIO',),
    ('uart listen 2 9600 1', 1, 'the port cannot be read'),
    ('uart send 2 9601 1', 1, 'does not open with 9601 baud'),
    ('& uart send 2 4107', 'uart2: 9600 baud, 8 data bits, no parity, 1 stop bit'),
    ('uart listen 2 9600 2', 0, '0x41\nbyte           0x07\n'),
    ('uart listen 0 9600', 2, 'PORT is 1 to 3'),
    ('! key press 7',),
    ('key 1', 0, 'pressed        1\n'),
    ('! fault once pthread_create - 1 EAGAIN',),
    ('key 1', 1, 'the front panel does not start'),
    ('key 1x', 2, 'COUNT is a number'),
    ('led 0x09 1', 0, '', 'gpio: 1,6'),
    ('led 0x0b 1', 1, 'the front panel has no such LED'),
    ('led 0x08 1', 2, 'CODE is 0x09 to 0x0e'),
    ('beep', 0, '', 'gpio: 5,5 buzzer = 1'),
    ('! fault once ioctl /dev/hi_gpio 1 EIO',),
    ('beep', 1, 'the buzzer cannot be switched'),
    ('beep 70', 2, 'MILLISECONDS is a multiple of 50'),
    ('% INT', '5,5 buzzer = 1'),
    ('beep 60000', 128 + signal.SIGINT, '', 'gpio: 5,5 buzzer = 0'),
    ('fan 1', 1, 'this board has no fan to switch'),
    ('fan on', 2, 'STATE is a number'),
    ('clock set 2000-01-01 00:00:00', 0, ''),
    ('clock set 1970-01-01 00:59:59', 2, 'this time zone has no standard time for that time'),
    ('clock set 2031-02-28 23:00:00', 0, '', 'clock set to', 'clock: register 3 = 0x06'),
    ('clock get', 0, 'time           2031-02-28 23:'),
    ('clock set 2031-07-15 12:00:00', 0, ''),
    ('clock get', 0, 'time           2031-07-15 12:'),
    ('clock set 2031-03-30 03:00:00', 0, ''),  # the first hour of daylight saving
    ('clock get', 0, 'time           2031-03-30 03:'),
    ('clock set 2031-03-30 02:30:00', 2, 'the clocks of this time zone skip that time'),
    ('clock set 2031-02-30 10:00:00', 2, 'there is no 2031-02-30 10:00:00'),
    ('clock set 2031-02-03 24:00:00', 2, 'there is no 2031-02-03 24:00:00'),
    ('clock set 1999-12-31 10:00:00', 2, 'the clock chip counts the years 2000 to 2099'),
    ('clock set 2031-+2-03 10:00:00', 2, 'there is no 2031-+2-03'),
    ('clock set noon 10:00:00', 2, 'a time is written as 2026-11-16 06:48:14'),
    ('! fault once clock_settime - 2 EPERM',),
    ('clock get', 1, 'the system clock cannot be set'),
    ('! fault once clock_settime - 2 EPERM',),
    ('clock set 2032-01-01 00:00:00', 1, 'the clock chip is set, the system clock cannot be set'),
    ('nvram write 100 1 0xfe', 0, ''),
    ('nvram read 100 2', 0, '101            0xfe\n'),
    ('nvram write 247 1 2', 2, 'at most 1 bytes'),
    ('nvram write 247 0', 0, ''),
    ('nvram read', 0, '63             0x00\n'),
    ('nvram read 248', 2, 'ADDRESS is a number from 0 to 247'),
    ('temp', 0, '42\n'),
    ('! temperature set 251',),
    ('status', 0, 'celsius        -5\n'),
    ('! temperature set 255',),
    ('temp', 0, '-1\n'),
    # The library's read of the sensor fails, then the command's own; before them the clock is read.
    ('! fault once ioctl /dev/gpioi2c 8 EIO',),
    ('! fault once ioctl /dev/gpioi2c 8 EIO',),
    ('temp', 1, 'the temperature sensor does not answer'),
    ('! fault once fopen /proc/stat 1 EIO',),
    ('status', 1, 'the kernel does not tell'),
    ('! fault once sendto eth0 1 EIO',),
    ('net set eth0 10.1.2.3 255.255.255.0 10.1.2.1', 1, 'everything is as it was'),
    ('net set eth0 10.1.2.3 255.255.255.0 10.1.2.1', 0, '', 'route'),
    ('net show', 0, 'eth0           00:00:5e:00:53:01 10.1.2.3       255.255.255.0  10.1.2.1'),
    ('net set eth9 10.1.2.3 255.255.255.0', 2, 'INTERFACE is eth0 or eth1'),
    ('net set eth0 10.1.2.3 255.255.255.0 router', 2, "'router' is no address"),
    ('net set eth0 10.1.2.3 255.0.255.0', 2, "'255.0.255.0' is no netmask"),
    ('net set eth0 10.1.2.3 0.0.0.0', 2, "'0.0.0.0' is no netmask"),
    ('net set eth0 10.1.2.3 255.255.255.255', 2, 'is no netmask'),
    ('net set eth0 10.1.2.0 255.255.255.0', 2, "'10.1.2.0' is no host's address"),
    ('net set eth0 10.1.2.255 255.255.255.0', 2, "'10.1.2.255' is no host's address"),
    ('net set eth0 224.1.2.3 255.255.255.0', 2, "'224.1.2.3' is no host's address"),
    ('net set eth0 127.1.2.3 255.0.0.0', 2, "'127.1.2.3' is no host's address"),
    ('net set eth0 0.1.2.3 255.0.0.0', 2, "'0.1.2.3' is no host's address"),
    ('net set eth0 10.1.2.3 255.255.255.0 10.1.3.1', 2,
     "'10.1.3.1' is no other host in the network of 10.1.2.3"),
    ('net set eth0 10.1.2.3 255.255.255.0 10.1.2.3', 2, 'no other host in the network'),
    ('net set eth0 10.1.2.3 255.255.255.0 10.1.2.255', 2, 'no other host in the network'),
    ('net set eth1 10.1.2.3 255.255.255.0', 1, 'eth1 is not there, or its settings cannot be read'),
    ('! fault once fopen /opt/sav/Config/network 1 EIO',),
    ('net set eth0 10.1.2.9 255.255.255.0', 1, 'eth0 is not there, or its settings cannot be read'),
    ('net set eth0 10.1.2.4 255.255.255.254 10.1.2.5', 0, ''),
    ('net set eth0 10.1.2.3 255.255.255.0 10.1.2.1', 0, ''),
    # Whichever step fails, everything is as it was.
    *[case for fault in ('ioctl SIOCSIFNETMASK 1', 'sendto eth0 1', 'ioctl SIOCADDRT 2',
                         'fopen /opt/sav/Config/network 13')
      for case in (('! fault once %s EIO' % fault,),
                   ('net set eth0 172.16.100.200 255.255.0.0 172.16.0.1', 1, 'everything is as it was',
                    'route add default via 10.1.2.1 dev eth0', '-route del 10.1.2.0'),
                   ('net show', 0, 'eth0           00:00:5e:00:53:01 10.1.2.3       255.255.255.0  10.1.2.1'),
                   ('nvram read 40 4', 0, '43             0x03\n'))],
    *[case for fault in ('fopen /opt/sav/Config/network 2', 'fopen /opt/sav/Config/network.new 1',
                         'fsync /opt/sav/Config/network.new 1', 'rename /opt/sav/Config/network.new 1')
      for case in (('! fault once %s EIO' % fault,),
                   ('net set eth0 172.16.100.200 255.255.0.0 172.16.0.1', 1,
                    'this could not be stored; everything is as it was'))],
    # Longer addresses push nothing aside, here or of the other settings.
    ('net set eth0 172.16.100.200 255.255.255.128 172.16.100.129', 0, ''),
    ('net show', 0, 'eth0           00:00:5e:00:53:01 172.16.100.200 255.255.255.128 172.16.100.129'),
    ('net set eth0 10.1.2.3 255.255.255.0', 0, ''),
    ('net show', 0, 'eth0           00:00:5e:00:53:01 10.1.2.3       255.255.255.0  172.16.100.129'),
    ('net set eth0 10.1.2.3 255.255.255.0 10.1.2.1', 0, ''),
    # Nor does a step back that fails keep the others from being taken.
    *[case for forth, back in (('sendto eth0 1', 'ioctl SIOCADDRT 1'),
                               ('sendto eth0 1', 'ioctl SIOCSIFADDR 2'),
                               ('sendto eth0 1', 'ioctl SIOCSIFNETMASK 2'),
                               ('sendto eth0 1', 'ioctl SIOCSIFFLAGS 3'),
                               ('sendto eth0 1', 'fopen /opt/sav/Config/network 8'),
                               ('fopen /opt/sav/Config/network 13', 'ioctl SIOCADDRT 3'),
                               ('fopen /opt/sav/Config/network 13', 'ioctl /dev/gpioi2c 50'))
      for case in (('! fault once %s EIO' % forth,), ('! fault once %s EIO' % back,),
                   ('net set eth0 172.16.100.200 255.255.0.0 172.16.0.1', 1,
                    'what was there before could not be put back entirely'),
                   ('net show', 0, 'eth0 '),
                   ('nvram read 40 4', 0, '43 '),
                   ('net set eth0 10.1.2.3 255.255.255.0 10.1.2.1', 0, ''))],
    ('nvram write 52 0xaa', 0, ''),  # the settings in the clock chip are valid
    ('! fault once fopen /opt/sav/Config/network 2 EIO',),
    ('net show', 0, 'eth0           00:00:5e:00:53:01 10.1.2.3 '),
    ('disks', 0, 'sda            internal'),
    ('--json disks', 0, [{'device': 'sda', 'class': 'internal', 'sectors': 1000, 'partitions': 1},
                         {'device': 'sdb', 'class': 'external', 'sectors': 2000, 'partitions': 2}]),
    *[(words, 2, ' is a number from 0 to ') for words in (
        'gpio get 7 8', 'mem read x', 'mem read 0 1025', 'mem write 0 x', 'nvram read 247 2',
        'nvram write 248 1', 'nvram write 247 256', 'uart send 4 9600 1', 'uart send 3 115201 1',
        'uart listen 3 9600 x', 'led 0x0f 1', 'led 0x09 2', 'beep 60050', 'watchdog feed x')],
    ('watchdog feed 1', 0, '', 'watchdog: stopped'),
    ('watchdog feed', 2, 'wrong number of arguments'),
    ('! fault once ioctl /dev/watchdog 2 EIO',),
    ('watchdog feed 2', 1, 'the watchdog does not answer', 'watchdog: stopped'),
    *[case for name in ('QUIT', 'HUP', 'TERM', 'USR1', 'RTMIN')
      for case in (('% TSTP', 'watchdog: fed'), ('% ' + name, 'watchdog: fed'),
                   ('watchdog feed 1000', 0, '', 'watchdog: stopped'))],
    ('! fault once ioctl /dev/watchdog 2 EIO',),
    ('watchdog reboot', 1, 'the watchdog does not answer', 'watchdog: stopped'),
    ('! fault once ioctl /dev/watchdog 2 EIO',),
    ('! fault once write /dev/watchdog 1 EIO',),
    ('watchdog reboot', 1, 'does not stop: the board restarts within 180 s'),
    ('! fault once socket AF_INET 1 EMFILE',),
    ('status', 1, 'the library ended the command'),
    ('status', 0, 'load-percent   15\n'),
    ('watchdog reboot', 0, '', 'watchdog: restart requested'),
    ('? power: on, boot 2',),
    ('nothing', 2, 'there is no such command; boardctl --help names them'),
    ('nothing --help', 2, 'there is no such command'),
    ('--help', 0, 'usage: boardctl'),
    ('--json', 2, 'there is no command'),
    ('env --help', 0, 'env delete NAME'),
    ('env get -h', 0, 'usage: boardctl [OPTION...] env get NAME\n'),
    ('--man', 0, '.SH COMMANDS'),
    ('--completion bash', 0, 'complete -o default -F _boardctl boardctl'),
    ('--completion zsh', 2, 'the shell is bash'),
    ('--wrong --worse', 2, "'--wrong' is no option; boardctl --help names them"),
    ('x ' * 301, 2, 'too many words'),
]
# Little is there: no flash, no clock chip, no watchdog in use, a fan of its own.
BARE_BOARD = '''
summary = "a bare board"
[identity]
product = "0000000000000010"
oem = 0
[clock]
fitted = false
'''
BARE_CASES = [
    ('env list', 1, 'the boot variables cannot be read'),
    ('flash list', 1, 'there are no flash partitions'),
    ('nvram write 0 1', 1, 'the clock chip does not answer'),
    ('temp', 1, 'the bus of the sensor does not open'),
    ('clock get', 1, 'the clock chip does not answer'),
    ('clock set 2031-01-01 00:00:00', 1, 'the clock chip does not answer'),
    ('nvram read', 1, 'the clock chip does not answer'),
    ('flash dump boot', 1, "there is no flash partition 'boot'"),
    ('net show', 1, 'there are no network interfaces'),
    ('fan 1', 0, '', 'gpio: 0,6 = 1'),
    ('watchdog feed 1', 1, 'this board does not use its watchdog'),
    ('watchdog reboot', 1, 'this board does not use its watchdog'),
    ('! fault always ioctl /dev/hi_gpio 1 EIO',),
    ('fan 1', 1, 'Fan control failed'),
    ('--verbose fan 1', 1, 'Fan control failed'),
]
# Its buzzer and its LEDs are microcontrollers', and the boot variables have a partition of their own.
MCU_BOARD = 'base = "%s/boards/panel-mcu.toml"\n' % SOURCES
MCU_CASES = [
    ('flash erase env', 1, "without 'env' this board does not start"),
    ('beep', 0, '', 'uart1: sent'),
    ('! fault always write /dev/ttyAMA2 1 EIO',),
    ('led 0x09 1', 1, 'the front panel does not answer'),
]
# Its serial number is the network card's.
MAC_BOARD = '''
summary = "a board of OEM type 8"
[identity]
product = "0000000000000004"
oem = 8
'''
MAC_CASES = [('serial set 4711', 1, "this board's serial number is made from its network address")]
# Its kernel has a time zone of its own besides the library's.
ZONE_BOARD = '''
summary = "a board east of Greenwich"
[clock]
minutes_west = -90
'''
ZONE_CASES = [
    ('clock set 2031-07-15 12:00:00', 0, ''),
    ('clock get', 0, 'time           2031-07-15 12:00:0'),
    ('clock set 2031-01-15 00:30:00', 0, ''),
    ('clock get', 0, 'time           2031-01-15 00:30:0'),
]
BOARDS = (('full', BOARD, CASES), ('bare', BARE_BOARD, BARE_CASES), ('mac', MAC_BOARD, MAC_CASES),
          ('mcu', MCU_BOARD, MCU_CASES), ('zone', ZONE_BOARD, ZONE_CASES))
# What the kernel tells, and the partition that cannot be erased then; the others can.
IN_USE = [
    ('/proc/mounts', '/dev/mtdblock3 /opt/sav jffs2 rw 0 0', 'config'),
    ('/proc/mounts', 'rootfs / rootfs rw 0 0\nmtd:kernel /mnt/mtd jffs2 rw 0 0', 'kernel'),
    ('/proc/mounts', 'mtd2 / ubifs rw 0 0', 'rootfs'),
    ('/proc/mounts', '/dev/mtdblock/1 /a jffs2 rw 0 0', 'kernel'),
    ('/proc/mounts', '/dev/mtd2 /a ubifs rw 0 0', 'rootfs'),
    ('/proc/mounts', '/dev/mtd/3 /a ubifs rw 0 0', 'config'),
    ('/proc/mounts', 'mtdblock1 /a jffs2 rw 0 0', 'kernel'),
    ('/proc/mounts', '/dev/mtdblock13 /opt/sav jffs2 rw 0 0', None),
    ('/proc/cmdline', 'mem=64M root=/dev/mtdblock2 rw', 'rootfs'),
    ('/proc/cmdline', 'mem=64M root=1f02', 'rootfs'),
    ('/proc/cmdline', 'root=31:1', 'kernel'),
    ('/proc/cmdline', 'root=mtd:config', 'config'),
    ('/proc/cmdline', 'ubi.mtd=rootfs,2048 root=ubi0:root', 'rootfs'),
    ('/proc/cmdline', 'ubi.mtd=3', 'config'),
    ('/proc/cmdline', 'mtdoops.mtddev=kernel', 'kernel'),
    ('/sys/class/ubi/ubi1/mtd_num', '3', 'config'),
    ('/sys/class/ubi/ubi1/mtd_num', '13', None),
    ('/sys/class/ubi/ubi1/mtd_num', '3' * 40, None),
    ('/proc/cmdline', 'init=3 mtdparts=nor:256k(boot),2M(kernel),4M(rootfs),1M(config) mtd2', None),
]
