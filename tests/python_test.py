"""What the Python package promises to who tests with it."""
import re
import signal
import subprocess
import time

import pytest

import vboard

pytest_plugins = 'pytester'

SPIN = 'int main(void) { for (;;) { } }'
FAILING = '''
import pytest

@pytest.mark.board('direct')
def test_of_an_application(board):
    board.boot()
    board.expect('recorder: running', within=5)
    board.expect('recorder: recording', within=2)
'''


@pytest.mark.board('direct')
def test_seconds_are_the_boards(board):
    board.boot()
    board.expect('recorder: running')
    begin, before = time.monotonic(), board.state()['time']
    with pytest.raises(vboard.NotSeen, match="'nothing' did not come within 300"):
        board.expect('nothing', within=300)
    assert 300 <= board.state()['time'] - before < 300.001
    assert time.monotonic() - begin < 60
    now = board.state()['time']
    time.sleep(0.3)
    assert board.state()['time'] == now


@pytest.mark.board('supervised')
def test_the_same_steps_give_the_same_transcript(board, make_board):
    """Also of two boards whose steps alternate."""
    boards = board, make_board('supervised')
    for each in boards:
        each.boot()
    for act in (lambda each: each.expect('quillon is running'), lambda each: each.press(7),
                lambda each: each.after(2.5), lambda each: each.cut(),
                lambda each: each.run('boardctl', 'env', 'list'), lambda each: each.after(1)):
        for each in boards:
            act(each)
    first, second = (each.transcript() for each in boards)
    assert first == second and 'recorder: key ff 1a bf 01' in first


STEPS = [
    ('expect 1 x', 'the board is off'),
    ('power on', None),
    ('power on', 'the board is on'),
    ('expect 5 recorder: running', None),
    ('expect x', "'x' is no number of seconds"),
    ('after -1', "'-1' is no number of seconds"),
    ('gpio set 1', 'usage: gpio set GROUP BIT LEVEL'),
    ('dance', 'no device of the board can do this'),
    ('', 'no device of the board can do this'),
    ('exec', 'usage: exec'),
    ('exec ["boardctl"', 'usage: exec'),
    ('exec [1]', 'usage: exec'),
    ('exec nothing', 'nothing: no such program'),
    ('signal 99 1', "'99' is no number from 0 to 64"),
    ('signal 15 99', 'no process 99 runs'),
    ('finish 99', "no step started process '99'"),
    ('signal 9 1', None),
    ('wait never', "'never' did not come: nothing runs any more"),
    ('power cut', None),
    ('expect 5 recorder: running', None),
    ('power off', None),
    ('after 5', None),
    ('power cycle', 'the board is off'),
]


@pytest.mark.board('direct')
def test_a_bad_step_is_told_and_the_board_goes_on(board):
    for step, error in STEPS:
        if error is None:
            board.step(step)
            continue
        with pytest.raises(vboard.BoardError, match=re.escape(error)):
            board.step(step)


@pytest.mark.board('direct', programs={'/opt/app/Quillon': '/bin/cat'})
def test_programs_are_started_signalled_and_typed_to(board):
    board.boot()
    board.expect('start: /opt/app/Quillon')
    board.type('a line')
    board.expect('a line')
    assert board.state()['time'] == 0
    process = board.start('boardctl', 'beep', '60000')
    board.expect('gpio: 5,5 = 1')
    board.signal(process, signal.SIGINT)
    assert board.finish(process).status == 128 + signal.SIGINT
    result = board.run('boardctl', 'env', 'get', 'no such')
    assert result == vboard.Result(1, '', "boardctl: there is no boot variable 'no such'\n")
    assert [event.fields['partition'] for event in board.events(device='flash', event='erase')] == []
    board.run('boardctl', 'env', 'set', 'a', 'b')
    assert [event.fields['partition'] for event in board.events(device='flash', event='erase')] == [0]


def test_a_program_that_spins_ends_the_board(make_board, tmp_path):
    (tmp_path / 'spin.c').write_text(SPIN)
    program = str(tmp_path / 'spin')
    board = make_board('direct', patience=3)
    subprocess.run(['cc', '-o', program, str(tmp_path / 'spin.c')], check=True)
    board.boot()
    with pytest.raises(vboard.BoardError, match='did not end'):
        board.run(program)
    with pytest.raises(vboard.BoardError, match='longer than the patience'):
        board.after(1)


@pytest.mark.parametrize('name, options, error', [
    ('nowhere', {}, "there is no board 'nowhere'"),
    ('./nowhere.toml', {}, 'there is no description'),
    ('direct', {'programs': {'/opt/app/Quillon': 'nothing'}}, 'nothing is no program'),
    ('direct', {'extra': 'sumary = "x"'}, "sumary"),
])
def test_what_cannot_be_made_is_told(make_board, name, options, error):
    with pytest.raises(vboard.BoardError, match=error):
        make_board(name, **options)


def test_a_failing_test_shows_what_happened(pytester, request):
    pytester.makepyfile(FAILING)
    result = pytester.runpytest_subprocess('-p', 'vboard.pytest_plugin')
    result.assert_outcomes(failed=1)
    result.stdout.re_match_lines_random([
        r".*NotSeen: 'recorder: recording' did not come within 2", r'-+ what happened on board 1 -+',
        r' +0\.000  \[0\] power: on, boot 1', r' +0\.100  \|  recorder: running', r' +2\.1.*sleep'])
