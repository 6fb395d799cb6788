"""The command campaign: usage: campaign.py CAMPAIGN."""
import json
import os
import signal
import subprocess
import sys
import tempfile
import time

CAMPAIGN = os.path.abspath(sys.argv[1])
# Some of each kind, on a board that is quickly played.
SOME = ['--board', 'settings', '--kind', 'power', '--kind', 'random', '--random', '6']
WRONG = (
    (['run', '--shard', '3/3'], "'3/3' is no shard"),
    (['run', '--kind', 'weather'], "'weather' is no kind"),
    (['run', '--board', 'nowhere'], "'nowhere' is no board"),
    (['run', '--jobs', '0'], '--jobs'),
    (['run', '--trials', 'nothing'], 'nothing: No such file'),
    (['run', '--trials', 'trials'], "trials:2: 'reed:/x#1=EIO': 'reed' is no call"),
    (['run', '--results', 'newer'], 'newer:1: results of another version'),
    (['run', '--results', 'foreign'], 'foreign:1: no file of results'),
    (['report', 'newer'], 'newer:1: results of another version'),
    (['report', 'nothing'], 'nothing: is not there'),
    (['replay', 'direct/reed:/x#1=EIO'], "'reed' is no call"),
    (['replay', 'nowhere/cut#1=before'], "'nowhere' is no board"),
    (['replay', 'direct/2s jump'], "'2s jump': no device"),
)


def campaign(*arguments):
    return subprocess.run([CAMPAIGN, *arguments], capture_output=True, text=True, timeout=800)


def results(path):
    """What broke in each trial."""
    with open(path) as file:
        lines = [json.loads(line) for line in file]
    assert lines.pop(0) == {'campaign': 1}
    found = {line['trial']: (line['kind'], line['broken'], line['shortened']) for line in lines}
    assert len(found) == len(lines), 'a trial was played twice'
    return found


def refuses_what_is_wrong():
    files = {'newer': '{"campaign":2}\n', 'foreign': 'a letter\n',
             'trials': '# two\nidle/reed:/x#1=EIO\n'}
    for name, text in files.items():
        with open(name, 'w') as file:
            file.write(text)
    for arguments, reason in WRONG:
        wrong = campaign(*arguments, *(['--results', 'none'] if arguments[0] == 'run'
                                       and '--results' not in arguments else []))
        assert wrong.returncode == 2, (arguments, wrong)
        assert reason in wrong.stderr, (arguments, wrong.stderr)
        assert not os.path.exists('none'), arguments
    for name, text in files.items():
        with open(name) as file:
            assert file.read() == text


def shards_are_the_whole():
    whole = campaign('run', *SOME, '--results', 'whole')
    assert whole.returncode == 0, whole
    for shard in range(3):
        part = campaign('run', *SOME, '--shard', '%d/3' % shard, '--results', 'part%d' % shard)
        assert part.returncode == 0, part
    parts = {}
    for shard in range(3):
        part = results('part%d' % shard)
        assert not parts.keys() & part.keys()
        parts.update(part)
    assert parts == results('whole') and len(parts) > 50
    reports = [campaign('report', *files).stdout.split('## Slowest')[0].split('\n', 3)[3]
               for files in (['whole'], ['part2', 'part0', 'part1'])]
    assert reports[0] == reports[1] and '| settings |' in reports[0], reports


def goes_on_where_it_was():
    with open('whole') as file:
        lines = file.readlines()
    with open('half', 'w') as file:
        file.writelines(lines[:20] + [lines[20][:-9]])
    rest = campaign('run', *SOME, '--results', 'half')
    assert rest.returncode == 0 and '%d trials' % (len(lines) - 20) in rest.stdout, rest
    assert results('half') == results('whole')


def replays_byte_for_byte():
    # The second one restarts without end, however fast the PC is.
    for trial in ('settings/random:5', 'supervised-oem6/mount@1:/dev/mtdblock3#1=ENXIO+',
                  'settings/write@1:/dev/mtd0#1=EIO'):
        first, second = campaign('replay', trial), campaign('replay', trial)
        assert first.returncode == 0 and first.stdout == second.stdout, (first, second)
    assert '>>    0.000000  [1] fault: write /dev/mtd0' in first.stdout, first.stdout
    assert 'Every rule holds.' in first.stdout


def leaves_nothing_when_it_is_stopped():
    command = [CAMPAIGN, 'run', '--board', 'supervised', '--kind', 'random', '--results', 'stop']
    for request in (signal.SIGINT, signal.SIGTERM, signal.SIGKILL):
        run = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        while not os.path.exists('stop') or os.path.getsize('stop') < 100:
            time.sleep(0.01)
        run.send_signal(request)
        output = run.communicate(timeout=100)[0]
        assert run.returncode == (-9 if request == signal.SIGKILL else 1), (request, run, output)
        for _ in range(1000):
            if not boards_programs():
                break
            time.sleep(0.01)
        assert not boards_programs(), request
        results('stop')
        os.remove('stop')


def boards_programs():
    """Processes whose board is below this folder."""
    found = []
    for process in filter(str.isdigit, os.listdir('/proc')):
        try:
            with open('/proc/%s/environ' % process, 'rb') as file:
                if b'VBOARD_FOLDER=' + os.getcwd().encode() in file.read():
                    found.append(process)
        except OSError:
            pass
    return found


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    os.environ['TMPDIR'] = folder
    refuses_what_is_wrong()
    shards_are_the_whole()
    goes_on_where_it_was()
    replays_byte_for_byte()
    leaves_nothing_when_it_is_stopped()
