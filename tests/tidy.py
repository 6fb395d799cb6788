#!/usr/bin/env python3
"""clang-tidy on the sources named, two at a time: tidy.py BUILD SOURCE...

What it found clean it does not read again as long as neither the source nor a header of it, neither
the checks nor their version have changed: their digests are kept in the user's cache.
"""
import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
CACHE = pathlib.Path(os.environ.get('XDG_CACHE_HOME') or '~/.cache').expanduser() / 'sentrel-tidy'


def checks():
    texts = [subprocess.run(['clang-tidy', '--version'], capture_output=True, check=True).stdout]
    return texts + [path.read_bytes() for path in [ROOT / '.clang-tidy', *sorted(ROOT.glob('*/.clang-tidy'))]]


def digest(entry, common):
    """Of all that the outcome depends on, wherever the tree stands."""
    words = shlex.split(entry['command'])
    place = words.index('-o')
    words[place:place + 2] = []
    words += ['-E', '-C', '-P']
    seen = subprocess.run(words, cwd=entry['directory'], capture_output=True, check=True).stdout
    parts = common + [entry['command'].encode(), seen]
    return hashlib.sha256(b'\0'.join(part.replace(str(ROOT).encode(), b'.') for part in parts)).hexdigest()


def check(build, entry, common):
    mark = CACHE / digest(entry, common)
    if mark.exists():
        return True
    words = ['clang-tidy', '-quiet', '-p', build, entry['file']]
    tidy = subprocess.run(words, capture_output=True, text=True)
    if tidy.returncode == 0:
        mark.touch()
    else:
        print(tidy.stdout, tidy.stderr, sep='\n', flush=True)
    return tidy.returncode == 0


def main(build, *sources):
    CACHE.mkdir(parents=True, exist_ok=True)
    database = json.loads(pathlib.Path(build, 'compile_commands.json').read_text())
    wanted = {str(ROOT / source) for source in sources}
    entries = [entry for entry in database if entry['file'] in wanted]
    common = checks()
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        clean = list(pool.map(lambda entry: check(build, entry, common), entries))
    if not entries or not all(clean):
        sys.exit('%d of %d have complaints' % (clean.count(False), len(entries)))


main(*sys.argv[1:])
