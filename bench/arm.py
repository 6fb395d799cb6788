"""Measures the ARM programs on the emulated board: bench/run --arm builds what it needs and
runs it. Each instruction of the guest takes 8 ns and waiting takes no time, so the same work takes
the same time whatever the PC does; what counts is one number beside the other."""
import os
import re
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, 'armboard'))
import board as armboard  # noqa: E402

TIME = ['-icount', 'shift=3,sleep=off']

# The launcher's work with as few processes as a shell needs for it.
SCRIPT = r'''#!/bin/sh
variables=$(dd if=/dev/mtd0 bs=64k skip=3 count=1 2>/dev/null | tr -s '\0\377' ' ')
while read -r device size erase_size name; do
  if [ "$name" = '"config"' ]; then partition=${device%:}; fi
done </proc/mtd
umount /opt/sav
mount -t jffs2 -o sync /dev/mtdblock${partition#mtd} /opt/sav
while read -r line; do log=$log$line; done </opt/sav/Log/Log
case $variables in *' xapp=1 '*) exec /board/bin/nothing ;; esac
'''

NOTHING = 'int main(void) { return 0; }'
UPTIME = '''
#include <stdio.h>
#include <time.h>
int main(void) {
  struct timespec now;
  clock_gettime(CLOCK_BOOTTIME, &now);
  printf("up %ld ms\\n", (long)now.tv_sec * 1000 + now.tv_nsec / 1000000);
}'''


def stripped(path):
    with tempfile.NamedTemporaryFile() as file:
        subprocess.run(['arm-linux-gnueabi-strip', '-o', file.name, path], check=True)
        return os.path.getsize(file.name)


def number(board, command):
    lines = board.shell(command, seconds=120)
    assert lines[-1] == 'status 0', (command, lines)
    return int(re.search(r'\d+', ' '.join(lines[:-1])).group())


def compile_static(folder, name, text=None):
    path = os.path.join(folder, name)
    source = '-' if text else os.path.join(ROOT, 'bench', name + '.c')
    subprocess.run(['arm-linux-gnueabihf-gcc', '-Os', '-static', '-s', '-x', 'c', '-o', path, source],
                   check=True, input=text, text=True)
    return path


def debian_tool(folder):
    """Debian's own tool for such blocks, with the libraries that it needs."""
    root = os.path.join(armboard.STATIC, 'root')
    libraries = 'lib/arm-linux-gnueabihf/'
    files = {'/lib/ld-linux-armhf.so.3': libraries + 'ld-linux-armhf.so.3',
             '/lib/libc.so.6': libraries + 'libc.so.6', '/lib/libz.so.1': libraries + 'libz.so.1',
             '/lib/libubootenv.so.0': 'usr/' + libraries + 'libubootenv.so.0',
             '/bin/fw_printenv': 'usr/bin/fw_printenv', '/bin/fw_setenv': 'usr/bin/fw_setenv'}
    files = {target: os.path.join(root, source) for target, source in files.items()}
    files['/etc/fw_env.config'] = os.path.join(folder, 'fw_env.config')
    with open(files['/etc/fw_env.config'], 'w') as file:
        file.write('/dev/mtd0 0x30000 0x10000 0x10000\n')
    return files


def compare_environment_tools(board):
    """A variable is set anew each time: Debian's tool leaves out what is there already."""
    for what, ours, theirs in (
            ('get', '/board/bin/boardctl env get xapp', '/bin/fw_printenv xapp'),
            ('set', '/board/bin/boardctl env set service ours%d', '/bin/fw_setenv service theirs%d')):
        for name, command in (('boardctl', ours), ("Debian's tool", theirs)):
            value = (lambda i: command % i) if what == 'set' else (lambda i: command)
            before = len(board.events())
            runs = 5
            micros = sum(number(board, 'processor_time 1 ' + value(i)) for i in range(runs)) / runs
            flash = [event.text.split() for event in board.events()[before:]
                     if event.text.startswith('flash: ') and int(event.text.split()[2], 16) < 0x40000]
            erased = sum(event[1] == 'erase' for event in flash)
            written = sum(int(event[3]) for event in flash if event[1] == 'write')
            calls = number(board, 'count_system_calls ' + value(runs))
            print('boot variable %s, %-14s %6d us of processor time, %4d system calls, '
                  '%g sectors erased, %g bytes written' %
                  (what, name + ':', micros, calls, erased / runs, written / runs))


def main():
    for preset in ('arm', 'armhf', 'arm-musl', 'armhf-musl'):
        sizes = [stripped(os.path.join(ROOT, 'build', preset, 'bin', name))
                 for name in ('sentrel', 'boardctl')]
        print('%-11s sentrel %6.1f KiB, boardctl %6.1f KiB' %
              (preset, sizes[0] / 1024, sizes[1] / 1024))
    print('busybox     %6.1f KiB' % (os.path.getsize(armboard.STATIC + '/root/bin/busybox') / 1024))
    with tempfile.TemporaryDirectory() as folder:
        script = os.path.join(folder, 'script')
        with open(script, 'w') as file:
            file.write(SCRIPT)
        os.chmod(script, 0o755)
        tools = [compile_static(folder, 'nothing', NOTHING), script]
        tools += [compile_static(folder, name) for name in ('processor_time', 'count_system_calls')]
        application = {'/opt/app/Quillon': compile_static(folder, 'uptime', UPTIME)}
        known = {'programs_folder': os.path.join(ROOT, 'build/armhf-musl/bin'), 'tools': tools}
        with armboard.Board('direct', programs=application, **known) as board:
            board.boot(arguments=TIME)
            print('from power on to the application: %s' % board.expect('up ')[3:])
        with armboard.Board('supervised', **known) as board:
            board.boot(arguments=TIME)
            board.expect('recorder: running')
            print('supervising launcher: %d KiB private memory' % number(
                board, "awk '/^Private/ { sum += $2 } END { print sum }' "
                "/proc/$(pidof sentrel | cut -d' ' -f1)/smaps"))
        with armboard.Board('direct', files=debian_tool(folder), **known) as board:
            board.boot(arguments=TIME)
            board.expect('recorder: running')
            board.shell('killall Quillon')
            launcher = number(board, 'processor_time 30 /sbin/sentrel /board/bin/nothing')
            shell = number(board, 'processor_time 30 /board/bin/script')
            print('start to application: launcher %d us, shell script %d us of processor time' %
                  (launcher, shell))
            compare_environment_tools(board)


main()
