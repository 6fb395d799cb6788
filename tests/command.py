"""What the command vboard tells other programs: usage: command.py VBOARD PROGRAMS."""
import json
import os
import pathlib
import subprocess
import sys
import tempfile

SOURCE = pathlib.Path(__file__).resolve().parent.parent
# A board whose panel is read, switched on twice.
BOARD = '''
base = "%s/boards/panel-oem2.toml"
scenario = ["wait keys: reading", "gpio set 6 1 1", "key press 7", "after 0.5", "key release 7",
            "gpio set 6 1 0", "uart send 0 ffff00", "after 1", "power cycle", "wait boot 2",
            "wait keys: reading", "key press 3", "after 0.25"]
''' % SOURCE
BOARDS = ('direct', 'panel-mcu', 'panel-oem2', 'panel-oem6-serial', 'repair', 'settings',
          'stick-pulled', 'supervised', 'watchdog')


class Bench:
    def __init__(self, vboard, programs, folder):
        self.vboard, self.programs, self.folder = vboard, programs, folder

    def run(self, *words, status=0, **options):
        command = [self.vboard, '--folder', self.folder + '/board', '--programs', self.programs]
        done = subprocess.run(command + list(words), capture_output=True, text=True, timeout=300, **options)
        assert done.returncode == status, (words, done.returncode, done.stderr)
        return done.stderr if status else done.stdout

    def events(self):
        return [json.loads(line) for line in self.run('events', '--json').splitlines()]


def read_waveform(text):
    """The changes of each signal, as (microsecond, value), by scope and name."""
    header, dump = text.split('$enddefinitions $end\n')
    assert '$timescale 1 us $end' in header and dump.startswith('#0\n$dumpvars\n')
    scopes, names, changes, time = [], {}, {}, 0
    for words in map(str.split, header.splitlines()):
        if words[0] == '$scope':
            scopes.append(words[2])
        elif words[0] == '$upscope':
            scopes.pop()
        elif words[0] == '$var':
            names[words[3]] = '.'.join(scopes[1:] + [words[4]])
    for line in dump.replace('$dumpvars\n', '').replace('$end\n', '').splitlines():
        if line[0] == '#':
            assert int(line[1:]) >= time
            time = int(line[1:])
            continue
        value, code = line[1:].split() if line[0] == 'b' else (line[0], line[1:])
        changes.setdefault(names[code], []).append((time, value if value in 'xz' else int(value, 2)))
    assert all(signal[0] == (0, 'x') for signal in changes.values())
    assert len(changes) == len(names)
    return {name: signal[1:] for name, signal in changes.items()}


# Each event of each board has a form, and says what the log says.
def check_events(bench):
    for board in BOARDS:
        bench.run('run', '%s/boards/%s.toml' % (SOURCE, board))
        log = bench.run('events').splitlines()
        events = bench.events()
        assert [e['text'] for e in events if not e['device']] == [], board
        assert log == ['%12.6f [%d] %s' % (e['time'], e['process'], e['text']) for e in events], board


# What the log says of a board's signals is what a viewer shows, over two boots.
def check_waveform(bench):
    description, record = bench.folder + '/board.toml', bench.folder + '/record.vcd'
    pathlib.Path(description).write_text(BOARD)
    bench.run('run', description, '--record', record)
    text = pathlib.Path(record).read_text()
    assert text == bench.run('events', '--vcd')
    subprocess.run(['vcd2fst', record, record + '.fst'], check=True, capture_output=True)
    signals, events = read_waveform(text), bench.events()
    boots = [time for time, value in signals['power.on'] if value == 1]

    def times(**fields):
        on = [i for i, event in enumerate(events) if event['event'] == 'on']
        return [boots[sum(at <= i for at in on) - 1] + round(event['time'] * 1e6)
                for i, event in enumerate(events) if fields.items() <= event.items()]
    assert [value for _, value in signals['power.on']] == [1, 0, 1]
    assert [value for _, value in signals['power.boot']] == [1, 2]
    assert signals['keys.key_7'] == list(zip(times(key=7), (1, 0)))
    assert signals['keys.key_7'][1][0] - signals['keys.key_7'][0][0] >= 500000
    assert signals['keys.key_3'] == [(times(key=3)[0], 1)]
    assert signals['gpio.gpio_6_1'][:2] == list(zip(times(event='driven'), (1, 0)))
    assert (times(event='level', name='LED 09')[0], 1) in signals['gpio.gpio_1_6_LED_09']
    start = times(device='uart', event='received')[0]
    assert [(time - start, value) for time, value in signals['uart0.received']] == [
        (0, 255), (1, 'z'), (2, 255), (3, 'z'), (4, 0), (5, 'z')]
    assert signals['processes.process_1'][0] == (boots[0], 1)


def check_state(bench):
    bench.run('make', '%s/boards/service-stick.toml' % SOURCE)
    bench.run('exec', bench.programs + '/boardctl', 'env', 'set', 'colour', 'red')
    for action in ('gpio set 2 3 1', 'stick pull stick', 'temperature set 55', 'flash cut 7 torn 5',
                   'fault once read@2 /dev/mtd0 3 EIO', 'fault always write - 1 HALF', 'uart unplug 3'):
        bench.run(*action.split())
    state = json.loads(bench.run('state', '--json'))
    devices = state['devices']
    boot = devices['flash'][0]
    erased = [(place, sector['erases']) for place, sector in enumerate(boot['sectors']) if sector['erases']]
    assert boot['name'] == 'boot' and erased == [(len(boot['sectors']) - 1, 1)], erased
    assert boot['sectors'][-1]['programmed'] > boot['sector_size'] // 2
    assert devices['boot']['block'] == 'whole' and devices['boot']['variables']['colour'] == 'red'
    assert state['power'] == 'on' and state['flash_operations'] == 2
    assert state['power_cut'] == {'operation': 7, 'moment': 'torn', 'number': 5}
    assert [(f['call'], f['path'], f['process'], f['outcome'], f['nth'], f['always'])
            for f in state['faults']] == [('read', '/dev/mtd0', 2, 'EIO', 3, False),
                                          ('write', '', 0, 'HALF', 1, True)]
    assert [disk['plugged'] for disk in devices['disks'] if disk['name'] == 'stick'] == [False]
    assert devices['temperature']['degrees'] == 55
    assert [line for line in devices['gpio'] if line['level']] == [
        {'group': 2, 'bit': 3, 'output': False, 'level': 1}]
    assert [port['plugged'] for port in devices['uart']] == [True, True, True, False]
    # Of a save that is torn in the middle of its list nothing counts.
    bench.run('flash', 'cut', '2', 'inside', '20')
    bench.run('exec', bench.programs + '/boardctl', 'env', 'set', 'colour', 'blue', status=-9)
    state = json.loads(bench.run('state', '--json'))
    assert state['devices']['boot'] == {'block': 'torn', 'variables': {}}


def check_failures(bench):
    direct = '%s/boards/direct.toml' % SOURCE
    assert '/proc/nowhere: ' in bench.run('run', direct, '--record', '/proc/nowhere', status=1)
    assert '/dev/full: No space left' in bench.run('run', direct, '--record', '/dev/full', status=1)
    bench.run('events', '--vcd', '--json', status=2)
    for more, steps, said in (
            ((), 'power on', 'no line feed'),
            (('--transcript', '/dev/full'), 'power on\n', '/dev/full: No space left'),
            ((), 'power on\nexec sleepers 300\n', 'places for: 256')):
        assert said in bench.run('run', direct, '--steps', *more, input=steps, status=1), said
    with open('/dev/full', 'w') as full:
        for words in ('events', '--json'), ('events', '--vcd'), ('state', '--json'), ('--man',), \
                ('run', direct), ('run', direct, '--steps'):
            command = [bench.vboard, '--folder', bench.folder + '/board', *words]
            done = subprocess.run(command, input='', stdout=full, stderr=subprocess.PIPE, text=True)
            assert done.returncode == 1 and 'No space left' in done.stderr, words
    os.remove(bench.folder + '/board/events')
    assert 'events: cannot be read' in bench.run('events', status=1)


# Manual page and completion know each command, and their readers understand them.
def check_help(bench):
    for name, group, command in ('vboard', 'fault', 'always'), ('boardctl', 'watchdog', 'reboot'):
        def ask(*words):
            return subprocess.check_output([bench.programs + '/' + name, *words], text=True)
        assert ask('--version').split()[0] == name
        page = ask('--man')
        assert '\n\\fB%s %s' % (group, command) in page
        lint = subprocess.run(['groff', '-man', '-ww', '-z'], input=page, capture_output=True, text=True)
        assert lint.stderr == '', lint.stderr
        script = ask('--completion', 'bash') + '''
            complete_word() { COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _$1; echo "${COMPREPLY[@]}"; }
            complete_word %s %s; complete_word %s %s ""; complete_word %s %s %s --he''' % (
                name, group[:4], name, group, name, group, command)
        words = subprocess.run(['bash', '-u'], input=script, capture_output=True, text=True, check=True)
        first, second, third = words.stdout.splitlines()
        assert (first, third) == (group, '--help') and command in second.split(), words.stdout


if __name__ == '__main__':
    with tempfile.TemporaryDirectory() as work:
        for check in check_events, check_waveform, check_state, check_failures, check_help:
            check(Bench(os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2]), work))
