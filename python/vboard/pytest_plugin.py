"""Boards for pytest:

    @pytest.mark.board('direct', programs={'/opt/app/Quillon': 'my_application'})
    def test_it_starts(board):
        board.boot()
        board.expect('ready', within=5)

A failing test shows what happened on its boards. Each board has a folder of its own, so that tests
can run side by side."""

import contextlib
import os
import re

import pytest

from vboard.base import AbstractBoard
from vboard.making import kind_of_board
from vboard.virtual import Board

MOST_LINES = 400  # of a transcript, that a failure shows

boards_key = pytest.StashKey[list]()


def pytest_addoption(parser):
    group = parser.getgroup('vboard', 'boards of recorders')
    group.addoption('--board-kind', choices=['virtual', 'arm'], default='virtual',
                    help='the virtual board, or the emulated ARM board of the source tree')
    group.addoption('--board-command', help='the command vboard')
    group.addoption('--board-programs',
                    help='folder of the programs that boards start, built for this kind of board')
    group.addoption('--board-vcd', metavar='FOLDER',
                    help='write a value change dump of every virtual board for waveform viewers')


def pytest_configure(config):
    config.addinivalue_line(
        'markers', "board(name, programs={path: file}, extra='', kinds=[...]): the board of a test, "
        'as for vboard.Board; on other kinds than these the test is skipped')


def write_waveform(board, folder, test, number):
    os.makedirs(folder, exist_ok=True)
    name = '%s-%d.vcd' % (re.sub(r'\W+', '-', test), number + 1)
    board.waveform(os.path.join(folder, name))


@pytest.fixture
def make_board(request):
    """Makes the boards of a test, as many as it asks for."""
    config, made = request.config, []
    request.node.stash[boards_key] = made
    options = {'command': config.getoption('--board-command'),
               'programs_folder': config.getoption('--board-programs'),
               'relative_to': str(request.path.parent)}

    def make(name: str, *, kinds=('virtual', 'arm'), **more) -> AbstractBoard:
        kind = config.getoption('--board-kind')
        if kind not in kinds:
            pytest.skip('needs a board of another kind: %s' % ', '.join(kinds))
        made.append(kind_of_board(kind)(name, **{**options, **more}))
        return made[-1]

    yield make
    with contextlib.ExitStack() as whatever_fails:
        for board in made:
            whatever_fails.callback(board.close)
        for number, board in enumerate(made):
            if config.getoption('--board-vcd') and isinstance(board, Board):
                write_waveform(board, config.getoption('--board-vcd'), request.node.name, number)


@pytest.fixture
def board(request, make_board):
    """The board that the test's marker names, made and switched off."""
    marker = request.node.get_closest_marker('board')
    if marker is None or len(marker.args) != 1:
        raise pytest.UsageError("the fixture 'board' needs a marker: @pytest.mark.board('direct')")
    return make_board(*marker.args, **marker.kwargs)


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item):
    outcome = yield
    report = outcome.get_result()
    if report.when != 'call' or not report.failed:
        return
    for number, made in enumerate(item.stash.get(boards_key, [])):
        lines = [str(line) for line in made.lines]
        if len(lines) > MOST_LINES:
            lines[:-MOST_LINES] = ['(%d earlier lines)' % (len(lines) - MOST_LINES)]
        report.sections.append(('what happened on board %d' % (number + 1), '\n'.join(lines)))
