"""How long from NetWorkSetAddress to the ARP frame on the wire: usage announcement.py PROGRAM.

Runs in a network and mount namespace of its own: unshare -nm (as root).
"""
import os
import socket
import statistics
import subprocess
import sys
import time


def run(*command):
    subprocess.run(command, check=True)


def main(program):
    run('mount', '-t', 'tmpfs', 'none', '/opt')
    os.makedirs('/opt/sav/Config')
    run('ip', 'link', 'add', 'eth0', 'type', 'veth', 'peer', 'name', 'wire')
    for name in ('eth0', 'wire'):
        run('ip', 'link', 'set', name, 'up')
    wire = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(0x0806))
    wire.bind(('wire', 0))
    wire.settimeout(5)
    time.sleep(1)  # until both ends are up
    micros = []
    for _ in range(20):
        process = subprocess.Popen([program], stderr=subprocess.PIPE, stdout=subprocess.DEVNULL)
        wire.recv(100)
        arrived = time.monotonic_ns()
        micros.append((arrived - int(process.communicate()[1].split()[0])) / 1000)
    print('NetWorkSetAddress to the ARP frame: %.0f us median, %.0f us longest of %d' %
          (statistics.median(micros), max(micros), len(micros)))


main(sys.argv[1])
