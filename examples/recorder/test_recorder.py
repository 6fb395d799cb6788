"""Tests of the example recorder, to start from: on the virtual board, and with --board-kind arm on
the emulated ARM board.

    PYTHONPATH=python /usr/bin/python3 -m pytest -p vboard.pytest_plugin examples/recorder
"""
import pytest

NETWORK = b'HOSTIP = 10.1.2.3\nSUBMASK = 255.255.0.0\nGATEWAYIP = 10.1.0.1\n'
SERVICE_CODE = 12  # of the remote control


def boot(board):
    board.boot()
    board.expect('recorder: running')


@pytest.mark.board('direct')
def test_the_launcher_becomes_the_application(board):
    board.boot()
    board.expect('recorder: started as /opt/app/Quillon with 0 arguments')
    board.expect('recorder: running', within=1)


@pytest.mark.board('direct')
def test_settings_come_from_the_flash(board):
    board.write('config', 'Config/network', NETWORK)
    board.boot()
    board.expect('recorder: address 10.1.2.3, netmask 255.255.0.0, gateway 10.1.0.1')


@pytest.mark.board('direct')
def test_a_status_line_every_second(board):
    boot(board)
    seconds = []
    for _ in range(4):
        line = board.expect('recorder: status', within=1.5)
        hours, minutes, rest = line.split()[2].rstrip(',').split(':')
        seconds.append(int(hours) * 3600 + int(minutes) * 60 + int(rest))
    assert [second - seconds[0] for second in seconds[1:]] in ([1, 2, 3], [1, 2, 4], [1, 3, 4], [2, 3, 4])


@pytest.mark.board('direct')
def test_the_fan_does_not_go_back_and_forth(board):
    boot(board)
    for celsius, said in (50, 'recorder: 50 degrees, fan on'), (45, 'recorder: 45 degrees, fan off'):
        board.act('temperature set 46')
        board.expect_none('fan', 3)
        board.act('temperature set %d' % celsius)
        board.expect(said, within=3)


@pytest.mark.board('direct')
def test_frost_is_below_zero(board):
    board.act('temperature set 251')
    boot(board)
    board.expect('-5 degrees')


@pytest.mark.board('supervised')
@pytest.mark.parametrize('key, code', [(7, '1a bf'), (12, '1a fb')])
def test_a_key_is_seen_when_pressed_and_released(board, key, code):
    boot(board)
    board.expect('quillon is running')
    for act, state in (board.press, '01'), (board.release, '00'):
        act(key)
        board.expect('recorder: key ff %s %s' % (code, state), within=2)


@pytest.mark.board('supervised')
def test_the_service_key_hands_control_back(board):
    boot(board)
    board.expect('quillon is running')
    board.infrared(SERVICE_CODE)
    board.expect('recorder: hands control back', within=2)
    board.expect('begin to read Frontboard')
    board.infrared(SERVICE_CODE)
    board.expect('recorder: running')


@pytest.mark.board('direct')
def test_nothing_starts_without_xapp(board):
    boot(board)
    assert board.run('boardctl', 'env', 'set', 'xapp', '0').status == 0
    board.restart()
    board.expect('xapp = 0')
    board.expect_none('recorder: started', 3)
    assert board.run('boardctl', 'env', 'get', 'xapp').output == '0\n'
    assert board.run('boardctl', 'env', 'get', 'nothing').status == 1


@pytest.mark.board('direct')
def test_it_starts_again_after_a_power_cut(board):
    boot(board)
    board.cut()
    board.expect('recorder: running')
    assert board.state()['boots'] == 2


@pytest.mark.board('direct')
def test_flash_and_clock_keep_what_they_hold(board):
    boot(board)
    assert board.run('boardctl', 'clock', 'set', '2031-02-28', '23:59:00').status == 0
    assert board.run('boardctl', 'serial', 'set', '4711').status == 0
    board.off()
    assert board.state()['power'] == 'off'
    board.boot()
    board.expect('recorder: serial number 4711')
    board.expect('recorder: status 23:59:')


@pytest.mark.board('service-stick')
def test_the_service_stick_has_the_console(board):
    boot_text = 'recorder: started as /opt/app/Quillon'
    board.boot()
    board.expect('gpio: 5,5 = 0')
    board.off()
    assert boot_text.encode() in board.read('stick', 'printf.txt')
    assert board.read('stick', 'readme.txt') == b'service stick 7\n'
    with pytest.raises(FileNotFoundError):
        board.read('stick', 'nothing')


@pytest.mark.board('supervised', kinds=['virtual'])
def test_a_recorder_that_hangs_is_restarted_by_the_watchdog(board):
    boot(board)
    board.after(600)
    assert board.state()['boots'] == 1
    process = next(each['process'] for each in board.state()['processes'] if each['name'] == 'Vantor')
    board.signal(process, 19)
    board.expect('power: on, boot 2', within=200)
    board.expect('recorder: running')


@pytest.mark.board('direct', kinds=['virtual'])
def test_a_sensor_that_does_not_answer(board):
    board.act('fault always ioctl /dev/gpioi2c 1 EIO')
    boot(board)
    board.expect('no temperature')
