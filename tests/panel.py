"""A board's panel: usage: panel.py VBOARD PROGRAMS refusals | page | audit FOLDER | pictures FOLDER.

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
        return subprocess.run(self.command + list(words), text=True, capture_output=True, timeout=10 * PATIENCE)

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
    (400, act('power')), (400, act('power', 'nothing')), (400, act('state')), (400, act('exec', '/bin/sh')),
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
        with self.send(*request(path='{root}feed', **({'Last-Event-ID': last} if last else {}))) as connection:
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
    missed = lines = 0
    for name, _, data in caller.feed(last):
        assert name != 'board', 'the page was here before'
        missed += data if name == 'missed' else 0
        lines += len(data) if name == 'lines' else 0
        if name == 'lines' and any('exit: status' in line['text'] for line in data):
            break
    assert 0 < lines <= 20000 and missed >= 80000 and before + missed + lines >= happened, (missed, lines)


def check_refusals(bench):
    caller = Caller(bench.url)
    for status, text in REQUESTS:
        caller.check(status, text)
    state = bench.state()
    assert state['power'] == 'on' and state['boots'] == 1 and state['devices']['temperature']['degrees'] == 33
    with open('/proc/net/tcp') as file:
        heard = [line.split()[1] for line in file if line.split()[3] == '0A']
    assert [place for place in heard if place.endswith(':%04X' % caller.port)] == ['0100007F:%04X' % caller.port]
    check_endless(caller)
    check_falling_behind(bench, caller)
    silent = [socket.create_connection(('127.0.0.1', caller.port)) for _ in range(100)]
    bench.end()  # whoever is connected
    for connection in silent:
        connection.close()


CASES = {'refusals': check_refusals}


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
