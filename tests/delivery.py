"""Checks of the programs as they are delivered: usage: delivery.py LIBVBOARD PROGRAM...

They need the C library and nothing else at run time, and every function that they take from the C
library is one that the virtual board stands in front of, or one that cannot reach the machine.
"""
import re
import subprocess
import sys

# Functions that work on memory, on streams that are open already, or on this process alone.
HARMLESS = """
    __cxa_finalize __errno_location __gmon_start__ __libc_start_main __stack_chk_fail
    _ITM_deregisterTMCloneTable _ITM_registerTMCloneTable
    __isoc99_sscanf calloc exit feof ferror fflush fgets flockfile fputs fread free fseek ftell
    funlockfile fwrite getc malloc memchr memcmp memcpy memmove memset printf putchar puts
    setvbuf snprintf sscanf stdout strchr strcmp strcspn strlen strncmp strncpy strnlen strspn strstr
    strtol strtoll
    strtoul strtoull vprintf lseek64 getpid
    cfmakeraw cfsetispeed cfsetospeed
    pthread_create pthread_mutex_lock pthread_mutex_unlock pthread_tryjoin_np
    __ctype_b_loc fprintf fputc inet_addr perror putc rewind stderr strchr vfprintf
    fdopen fileno __cxa_atexit pipe2 raise strpbrk strtok_r vsnprintf inet_pton open_memstream strndup
    __daylight daylight localtime_r mktime timegm times tzset strftime
    __libc_current_sigrtmax __libc_current_sigrtmin gmtime_r isspace
    kill sigaction sigemptyset sigfillset signal
""".split()


def symbols(path, defined):
    out = subprocess.run(["readelf", "-W", "--dyn-syms", path], check=True, capture_output=True,
                         text=True).stdout
    found = set()
    for line in out.splitlines():
        columns = line.split()
        if len(columns) >= 8 and re.fullmatch(r"\d+:", columns[0]) and (columns[6] != "UND") == defined:
            found.add(columns[7].split("@")[0])
    return found


def check(program, libvboard):
    dynamic = subprocess.run(["readelf", "-d", program], check=True, capture_output=True, text=True).stdout
    needed = re.findall(r"\(NEEDED\).*\[(.*)\]", dynamic)
    bypassing = symbols(program, False) - symbols(libvboard, True) - set(HARMLESS)
    if needed != ["libc.so.6"]:
        print(program, "needs more than the C library:", *needed)
    if bypassing:
        print(program, "takes from the C library what the virtual board does not know:", *sorted(bypassing))
    return needed != ["libc.so.6"] or bool(bypassing)


def main(libvboard, *programs):
    return any([check(program, libvboard) for program in programs])


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
