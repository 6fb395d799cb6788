"""A board's panel: usage: panel.py VBOARD PROGRAMS refusals | page | audit FOLDER | --pictures FOLDER.

The audit fetches its rules into the folder; the pictures are those of the README.
"""
import json
import os
import re
import signal
import socket
import subprocess
import sys
import tarfile
import tempfile
import threading
import time

PATIENCE = 60
BOARD = '''
base = "%s/boards/panel-oem2.toml"
[[scsi.disk]]
name = "stick"
host = 1
vendor = "Generic"
letter = "b"
size = 15654912
partitions = [[1, 2048, 15652864]]
'''
FLOOD = 'i=0; while [ $i -lt 100000 ]; do true </opt/app/none; i=$((i+1)); done'


def until(happens, what):
    """What happens gives, once it is something."""
    end = time.monotonic() + PATIENCE
    while not (given := happens()):
        assert time.monotonic() < end, 'this did not come: ' + what
        time.sleep(0.02)
    return given


class Bench:
    def __init__(self, vboard, programs, folder):
        self.programs, self.description = programs, folder + '/board.toml'
        self.command = [vboard, '--folder', folder + '/board', '--programs', programs]
        with open(self.description, 'w') as file:
            file.write(BOARD % os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
        self.boot()

    def boot(self):
        self.process = subprocess.Popen(self.command + ['run', self.description, '--panel'], text=True,
                                        stdout=subprocess.PIPE, start_new_session=True)
        self.url = next(line.split()[-1] for line in self.process.stdout if 'http://' in line)
        for line in self.process.stdout:
            if 'LED 09 = 1' in line:  # the scenario's end
                break
        threading.Thread(target=self.process.stdout.read).start()  # or the board would wait for us

    def end(self):
        self.process.send_signal(signal.SIGINT)
        assert self.process.wait(PATIENCE) == 128 + signal.SIGINT

    def vboard(self, *words):
        return subprocess.run(self.command + list(words), text=True, capture_output=True,
                              timeout=10 * PATIENCE)

    def state(self):
        return json.loads(self.vboard('state', '--json').stdout)


# ---- Who is let in, and to what.

def request(method='GET', path='{root}', host='{host}', body=None, **headers):
    """A request's text. {root}, {host} and {token} stand for the panel's own."""
    lines = ['%s %s HTTP/1.1' % (method, path)] + (['Host: ' + host] if host else [])
    lines += ['%s: %s' % (name.replace('_', '-'), value) for name, value in headers.items()]
    if body is not None and 'Transfer_Encoding' not in headers:
        lines.append('Content-Length: %d' % len(body))
    return '\r\n'.join(lines) + '\r\n\r\n', body or ''


def act(*words, origin='http://{host}', **others):
    others = {'method': 'POST', 'path': '{root}act', 'body': json.dumps({'words': words})} | others
    return request(**others, **({'Origin': origin} if origin else {}))


OFF = 'power', 'off'
TEMPERATURE = 'temperature', 'set', '33'
REQUESTS = [
    (200, request()), (200, request(path='{root}app.js')), (200, request(path='{root}actions')),
    (200, act(*TEMPERATURE)), (200, request(Origin='http://{host}')),
    # The token.
    (403, request(path='/')), (403, request(path='/' + '0' * 32 + '/')), (403, request(path='/{token}')),
    (403, request(path='/{token}0/')), (403, act(*OFF, path='/' + '0' * 32 + '/act')),
    (403, request(path='/app.js?/{token}/')),
    # A name that leads here, and a page of somebody else's.
    (403, request(host='localhost:{port}')), (403, request(host='example.com')), (403, request(host='')),
    (403, request(host='127.0.0.1')), (403, request(host='{host}\r\nHost: example.com')),
    (403, request(path='{root}feed', Origin='http://example.com')), (403, request(Origin='null')),
    (403, act(*OFF, origin='http://example.com')), (403, act(*OFF, origin='null')),
    (403, act(*OFF, origin='http://localhost:{port}')), (403, act(*OFF, origin=None)),
    (403, act(*OFF, host='example.com')),
    # Paths.
    (404, request(path='{root}../app.js')), (404, request(path='{root}../../../../etc/passwd')),
    (404, request(path='{root}%2e%2e/%2e%2e/etc/passwd')), (404, request(path='{root}/etc/passwd')),
    (404, request(path='{root}..%5c..%5cetc')), (404, request(path='{root}app.js%00.html')),
    (404, request(path='{root}index.html/..')), (403, request(path='/etc/passwd')),
    (403, request(path='http://{host}{root}')),
    # Methods, lengths and what an action may be.
    (405, request('PUT', body='')), (405, request('DELETE')), (405, request('OPTIONS')),
    (404, request('POST', Origin='http://{host}', body='')), (404, request(path='{root}act')),
    (413, act(*OFF, 'x' * 5000)), (411, act(*OFF, Transfer_Encoding='chunked')),
    (400, act('network', 'show')), (400, act('power')), (400, act('power', 'nothing')), (400, act('state')),
    (400, act('exec', '/bin/sh')),
    (400, act(*TEMPERATURE, '1')), (400, act('temperature', 'set', '-1')), (400, act(*['power'] * 17)),
    (400, act(body='{')), (400, act(body='[]')), (400, act(body='{"words": [1]}')),
    (400, act(body='{"words": "power off"}')), (400, act(body='[' * 4000)),
]


class Caller:
    def __init__(self, url):
        self.host, self.token = re.fullmatch(r'http://([^/]*)/(\w+)/', url).groups()
        self.port = int(self.host.split(':')[1])

    def send(self, head, body):
        connection = socket.create_connection(('127.0.0.1', self.port), PATIENCE)
        head = head.format(host=self.host, token=self.token, port=self.port, root='/%s/' % self.token)
        connection.sendall((head + body).encode())
        return connection

    def ask(self, text):
        with self.send(*text) as connection:
            answer = b''
            while part := connection.recv(65536):
                answer += part
        head, _, content = answer.decode().partition('\r\n\r\n')
        return int(head.split()[1]), head, content

    def check(self, status, text):
        given, head, content = self.ask(text)
        assert given == status, (text, status, given)
        assert "default-src 'none'; script-src 'self'" in head and 'no-referrer' in head, head
        assert status == 200 or 'root:' not in content and self.token not in content, (text, content)

    def feed(self, last=None):
        """The messages of a page that got this one last: name, number, data."""
        heading = {'Last-Event-ID': last} if last else {}
        with self.send(*request(path='{root}feed', **heading)) as connection:
            message = {}
            for line in connection.makefile(newline='\n'):
                name, _, value = line.rstrip().partition(': ')
                if name in ('event', 'id', 'data'):
                    message[name] = value
                elif line == '\n' and 'data' in message:
                    yield message['event'], message.get('id'), json.loads(message['data'])
                    message = {}


# Nobody has the server keep what never ends.
def check_endless(caller):
    connection = caller.send('GET /{token}/ HTTP/1.1\r\n', '')
    for _ in range(100):
        try:
            connection.sendall((b'X: ' + b'x' * 1000 + b'\r\n') * 1000)
        except OSError:
            return
    raise AssertionError('a request of 100 MB is read')


def count_lines(page):
    """What a page that was there before is told: lines missed, and lines, until a program's end."""
    missed = lines = 0
    for name, _, data in page:
        assert name != 'board', 'the page was here before'
        missed += data if name == 'missed' else 0
        lines += len(data) if name == 'lines' else 0
        if name == 'lines' and any('exit: status' in line['text'] for line in data):
            return missed, lines


# A page that is not there while much happens is told what it missed, and no more than that is kept.
def check_falling_behind(bench, caller):
    pages = [caller.feed() for _ in range(8)]
    firsts = [next((number, len(data)) for name, number, data in page if name == 'lines') for page in pages]
    caller.check(503, request(path='{root}feed'))
    for page in pages:
        page.close()
    until(lambda: next(caller.feed(), None), 'a place for a page')
    last, before = firsts[0]
    assert bench.vboard('exec', '/bin/sh', '-c', FLOOD).returncode == 0
    happened = int(bench.vboard('events').stdout.count('\n'))
    count_lines(caller.feed(last))  # until the server has seen the end, too
    missed, lines = count_lines(caller.feed(last))
    assert 0 < lines <= 20000 and missed >= 80000 and before + missed + lines >= happened, (missed, lines)


def check_refusals(bench):
    caller = Caller(bench.url)
    for status, text in REQUESTS:
        caller.check(status, text)
    state = bench.state()
    assert state['power'] == 'on' and state['boots'] == 1 and state['devices']['temperature']['degrees'] == 33
    with open('/proc/net/tcp') as file:
        heard = [line.split()[1] for line in file if line.split()[3] == '0A']
    port = ':%04X' % caller.port
    assert [place for place in heard if place.endswith(port)] == ['0100007F' + port]
    check_endless(caller)
    check_falling_behind(bench, caller)
    silent = [socket.create_connection(('127.0.0.1', caller.port)) for _ in range(100)]
    caller.check(200, act(*OFF))
    silent.append(caller.send(*act('ir', 'send', '3', '1')))  # waits for who listens
    begin = time.monotonic()
    bench.end()  # whoever is connected
    assert time.monotonic() - begin < 8, 'the panel keeps the board from its end'
    for connection in silent:
        connection.close()


# ---- What one sees and does in a browser, by its keyboard alone.

class Page:
    def __init__(self, url):
        from selenium import webdriver
        from selenium.webdriver.chrome.service import Service
        options = webdriver.ChromeOptions()
        for option in '--headless=new', '--no-sandbox', '--disable-dev-shm-usage', '--disable-gpu':
            options.add_argument(option)
        self.browser = webdriver.Chrome(service=Service('/usr/bin/chromedriver'), options=options)
        self.show('light', 1280, 800)
        self.browser.get(url)
        self.wait('#power', 'on')

    def show(self, scheme, width, height):
        self.browser.execute_cdp_cmd('Emulation.setDeviceMetricsOverride', {
            'width': width, 'height': height, 'deviceScaleFactor': 1, 'mobile': width < 600})
        self.browser.execute_cdp_cmd('Emulation.setEmulatedMedia', {
            'features': [{'name': 'prefers-color-scheme', 'value': scheme}]})

    def text(self, selector):
        return self.browser.execute_script(
            'const found = document.querySelector(arguments[0]);'
            'return found?.hidden ? "" : found?.innerText ?? ""', selector)

    def wait(self, selector, pattern):
        return until(lambda: re.search(pattern, self.text(selector)), '%s: %s' % (selector, pattern))[0]

    def hands(self):
        from selenium.webdriver import ActionChains
        return ActionChains(self.browser, 10)

    def reach(self, path):
        """Goes on to an element as the Tab key does."""
        element = self.browser.find_element('xpath', path)
        for _ in range(400):
            if self.browser.switch_to.active_element == element:
                return
            self.hands().send_keys('\ue004').perform()
        raise AssertionError('the Tab key does not reach ' + path)

    def press(self, path, keys='\ue007'):
        self.reach(path)
        self.hands().send_keys(keys).perform()

    def hold(self, key):
        """Holds a key of the recorder. What the application reads, once its LED has answered."""
        self.reach('//*[@id="matrix"]//button[b="%d"]' % key)
        self.hands().key_down(' ').perform()
        self.wait('#indicators', 'LED 09 low')
        read = self.wait('#matrix [data-key="%d"]' % key, r'ff \w\w \w\w 01')
        self.wait('#console .lines', 'key ' + read)
        self.hands().key_up(' ').perform()
        self.wait('#indicators', 'LED 09 high')
        return read


def check_devices(page):
    assert page.hold(7) != page.hold(8)
    page.press('//*[@id="remote"]//input[@name="code"]', '17\ue007')
    page.wait('#codes', r'0x11, state 1\s+read as ff')
    page.press('//button[.="Pull stick"]')
    page.wait('#sticks', 'stick is out')
    page.wait('#events .lines', 'stick: stick pulled')
    page.hands().send_keys('\ue007').perform()  # the focus is where it was
    page.wait('#sticks', 'stick is plugged in')


def check_cut(bench, page):
    page.wait('#verdict', 'whole')
    page.press('//*[@id="cut"]//button')
    page.wait('#planned-cut', 'half way through flash operation 1 ')
    assert bench.vboard('exec', bench.programs + '/boardctl', 'env', 'set', 'mode', 'night').returncode != 0
    page.wait('#after-cut', 'After the power was cut at .* of boot 3: ✖ torn')
    page.wait('#figures', r'Boot\s*4')
    page.wait('#mtd0 .cells', 'sector 3: erased 1 times')


def check_restart(page):
    page.press('//*[@id="switches"]//button[.="Restart"]')
    page.wait('#figures', r'Boot\s*2\s+Time\s+[1-9]')  # the application scans its keys
    page.hold(9)
    page.press('//*[@id="switches"]//button[.="Off"]')
    page.wait('#power', 'off')
    page.press('//*[@id="switches"]//button[.="On"]')
    page.wait('#figures', r'Boot\s*3')


def check_return(bench, page):
    bench.end()
    page.wait('#connection', 'No connection')
    bench.boot()
    page.wait('#figures', r'Boot\s*1')
    assert page.text('#connection') == '' and page.text('#after-cut') == ''
    page.hold(10)


def check_flood(bench, page):
    bench.vboard('exec', '/bin/sh', '-c', FLOOD)
    page.wait('#events .lines', 'exit: status 0')
    page.hold(11)
    page.hands().key_down(' ').perform()
    page.wait('#indicators', 'LED 09 low')
    page.browser.refresh()
    until(lambda: bench.state()['devices']['keys']['held'] == [], 'the release of a key whose page went')
    page.hands().key_up(' ').perform()
    page.wait('#events .notice', r'\d{5} lines')
    page.hold(13)
    assert page.browser.execute_script('return document.querySelectorAll("*").length') < 3000


# A panel of its own, for a board that another command runs.
def check_follower(bench, page):
    follower = subprocess.Popen(bench.command + ['panel'], stdout=subprocess.PIPE, text=True)
    url = follower.stdout.readline().split()[-1]
    assert url != bench.url
    page.browser.get(url)
    page.wait('#power', 'on')
    bench.end()
    page.wait('#power', 'ended')
    bench.boot()
    page.wait('#power', 'on')
    page.hold(12)
    follower.send_signal(signal.SIGINT)
    assert follower.wait(PATIENCE) == 128 + signal.SIGINT


def check_page(bench):
    page = Page(bench.url)
    try:
        check_devices(page)
        check_restart(page)
        check_cut(bench, page)
        check_return(bench, page)
        check_flood(bench, page)
        check_follower(bench, page)
    finally:
        page.browser.quit()


# ---- Who cannot see it, or sees it on another screen.

SCREENS = [('light', 1280, 800), ('dark', 1280, 800), ('light', 390, 844)]


def rules(folder):
    """The audit's, None where they cannot be had."""
    os.makedirs(folder, exist_ok=True)
    try:
        told = subprocess.run(['npm', 'pack', 'axe-core@4'], cwd=folder, text=True, capture_output=True)
    except FileNotFoundError:
        return None
    if told.returncode != 0:
        return None
    with tarfile.open(os.path.join(folder, told.stdout.split()[-1])) as package:
        return package.extractfile('package/axe.min.js').read().decode()


def check_audit(bench, folder):
    audit = rules(folder)
    if audit is None:
        print('SKIPPED: the rules of the accessibility audit cannot be had')
        return
    page = Page(bench.url)
    try:
        page.hold(7)
        page.browser.execute_script(
            'for (const each of document.querySelectorAll("details")) each.open = true')
        page.browser.execute_script(audit)
        for screen in SCREENS:
            page.show(*screen)
            wide = page.browser.execute_script('return document.documentElement.scrollWidth')
            assert wide <= screen[1], (screen, wide)
            found = page.browser.execute_async_script('axe.run().then(arguments[arguments.length - 1])')
            assert len(found['passes']) > 20
            grave = [(each['id'], [node['html'] for node in each['nodes']]) for each in found['violations']
                     if each['impact'] in ('serious', 'critical')]
            assert not grave, (screen, grave)
    finally:
        page.browser.quit()


def make_pictures(bench, folder):
    from PIL import Image
    page = Page(bench.url)
    try:
        page.hold(7)
        for name, screen in zip(('panel', 'panel-dark', 'panel-phone'), SCREENS):
            page.show(*screen)
            path = os.path.join(folder, name + '.png')
            page.browser.save_screenshot(path)
            Image.open(path).convert('RGB').quantize(32, dither=Image.Dither.NONE).save(path, optimize=True)
    finally:
        page.browser.quit()


CASES = {'refusals': check_refusals, 'page': check_page, 'audit': check_audit, '--pictures': make_pictures}


def main(vboard, programs, case, *folder):
    with tempfile.TemporaryDirectory() as place:
        bench = Bench(vboard, programs, place)
        try:
            return CASES[case](bench, *folder)
        finally:
            bench.process.kill()
            bench.process.wait()


if __name__ == '__main__':
    sys.exit(main(*sys.argv[1:]))
