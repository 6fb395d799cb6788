"""Who ends whom on a virtual board: usage: processes.py VBOARD PROGRAMS."""
import os
import signal
import subprocess
import sys
import tempfile
import time

BOARD = '''
summary = "a board with programs that hide"
start = ["/var/Vantor", "70"]
programs."/var/Vantor" = "daemons"
'''
PATIENCE = 60


def parent(process):
    try:
        with open('/proc/%d/stat' % process) as file:
            state, number = file.read().rsplit(')', 1)[1].split()[:2]
    except OSError:
        return None
    return None if state == 'Z' else int(number)


class Bench:
    def __init__(self, vboard, programs, folder):
        self.programs = programs
        self.description = folder + '/board.toml'
        self.vboard = [vboard, '--folder', folder + '/board', '--programs', programs]
        with open(self.description, 'w') as file:
            file.write(BOARD)

    def run(self, words):
        return subprocess.Popen(self.vboard + words, stdout=subprocess.PIPE, text=True,
                                stderr=subprocess.DEVNULL, start_new_session=True)

    def boot(self):
        """The command that runs the board, and the programs there once all are."""
        process, daemons = self.run(['run', self.description, '--stay']), []
        for line in process.stdout:
            if 'daemon: ' in line:
                daemons.append(int(line.split()[-1]))
            if 'daemons: all' in line:
                break
        return process, daemons

    # The board is off: the caller, a script, is not hit, and is told.
    def check_made_only(self):
        subprocess.run(self.vboard + ['make', self.description], check=True)
        for action in 'hang', 'cycle', 'off', 'cut':
            script = ['sh', '-c', '"$@" 2>&1; echo $?', 'sh'] + self.vboard + ['power', action]
            told = subprocess.run(script, capture_output=True, text=True, timeout=PATIENCE,
                                  start_new_session=True).stdout
            assert 'no board runs in ' in told and told.endswith('\n1\n'), (action, told)

    # However the board ends, it ends for every program.
    def check_nothing_survives(self):
        ends = {
            'switched off': lambda tree: os.kill(tree[0], signal.SIGTERM),
            'power off': lambda tree: subprocess.run(self.vboard + ['power', 'off'], check=True),
            'the whole group': lambda tree: os.killpg(tree[0], signal.SIGKILL),
        }
        for place in range(3):
            ends['process %d' % place] = lambda tree, at=place: os.kill(tree[at], signal.SIGKILL)
        for name, end in ends.items():
            process, daemons = self.boot()
            assert len(daemons) == 70, daemons
            tree = [process.pid]
            processes = [int(entry) for entry in os.listdir('/proc') if entry.isdigit()]
            for _ in range(2):  # on to the keeper, and to the machine
                tree += [one for one in processes if parent(one) == tree[-1]]
            end(tree)
            left, limit = daemons + tree[1:], time.monotonic() + PATIENCE
            while left and time.monotonic() < limit:
                left = [one for one in left if parent(one)]
                time.sleep(0.01)
            process.wait(PATIENCE)
            process.stdout.close()
            for one in left:
                os.kill(one, signal.SIGKILL)
            assert not left, (name, left)

    # What the PC's user runs on the board has power as long as the board.
    def check_exec(self):
        process, _ = self.boot()
        for end in ['power', 'cut'], ['make', self.description]:
            guest = self.run(['exec', self.programs + '/standalone'])
            assert guest.stdout.readline().startswith('recorder: started')
            subprocess.run(self.vboard + end, check=True)
            assert guest.wait(PATIENCE) == -signal.SIGKILL
            process.terminate()
            process.wait(PATIENCE)

    # No Ctrl-C is lost, at whatever moment it comes.
    def check_interrupt(self):
        start = time.monotonic()
        process, _ = self.boot()
        moments, longest = 40, time.monotonic() - start
        process.terminate()
        process.wait(PATIENCE)  # it has the folder until then
        for i in range(moments):
            process = self.run(['run', self.description, '--stay'])
            time.sleep(longest * (i / moments) ** 3)  # most often where processes divide
            os.killpg(process.pid, signal.SIGINT)
            status = process.wait(PATIENCE)
            assert status in (128 + signal.SIGINT, -signal.SIGINT), (i, status)


def main(vboard, programs):
    with tempfile.TemporaryDirectory() as folder:
        bench = Bench(vboard, programs, folder)
        bench.check_made_only()
        bench.check_nothing_survives()
        bench.check_exec()
        bench.check_interrupt()


main(*sys.argv[1:])
