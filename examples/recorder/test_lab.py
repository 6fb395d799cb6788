"""The example recorder through labgrid, by protocols alone: on whatever board the lab's file names.

    PYTHONPATH=python /usr/bin/python3 -m pytest --lg-env examples/recorder/lab.yaml \
      examples/recorder/test_lab.py
"""
import pexpect
import pytest


@pytest.fixture
def power(target):
    power = target.get_driver('PowerProtocol')
    power.off()
    yield power
    power.off()


@pytest.fixture
def console(target):
    return target.get_driver('ConsoleProtocol')


def test_a_key_reaches_the_application(target, power, console):
    key = target.get_driver('DigitalOutputProtocol')
    power.on()
    console.expect('recorder: running', timeout=20)
    console.expect('quillon is running', timeout=20)
    for pressed in True, False:
        key.set(pressed)
        assert key.get() == pressed
        console.expect('recorder: key ff 1a bf 0%d' % pressed, timeout=5)


def test_it_starts_again_after_every_power_cycle(power, console):
    for _ in range(2):
        power.cycle()
        _, _, match, _ = console.expect(r'address (\S+),.*recorder: running', timeout=20)
        assert match.group(1) == b'192.168.1.20'


def test_a_board_that_is_off_says_nothing(power, console):
    power.cycle()
    console.expect('recorder: running', timeout=20)
    power.off()
    console.settle(1)
    with pytest.raises(pexpect.TIMEOUT):
        console.expect('recorder', timeout=2)
