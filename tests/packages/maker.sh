# shellcheck shell=bash
# What a maker of applications does with the installed packages alone, in an empty folder.
cat >application.c <<'EOF'
#include <libsys/gpio.h>
#include <stdio.h>

int main(void) {
  const int32_t failed = GpioWrite(2, 3, 1);
  puts(failed ? "my application: no line" : "my application: the line is high");
  return failed != 0;
}
EOF
read -ra flags < <(pkg-config --cflags --libs libsys)
gcc -Wall -Werror -o application application.c "${flags[@]}"
gcc -o with_archive application.c -l:libsys.a
ldd ./application | grep -q 'libsys.so.1 => /'

vboard --folder board make panel-oem2
for program in application with_archive; do
  [[ $(vboard --folder board exec "./$program") == *'my application: the line is high'* ]]
done
vboard --folder board events | grep -q 'gpio: 2,3 = 1'
vboard --folder board events --vcd waves.vcd
grep -q "wire 1 .* gpio_2_3" waves.vcd
vboard --folder board run supervised-oem9 | tail -1 | grep -q 'switched off'
vboard --version
/usr/sbin/boardctl --help | grep -q '^usage'
for page in man1/vboard.1 man8/boardctl.8; do test -s "/usr/share/man/$page.gz"; done
test -s /usr/share/bash-completion/completions/vboard

cat >test_application.py <<'EOF'
import pytest


@pytest.mark.board('direct', programs={'/opt/app/Quillon': 'application'})
def test_it_sets_its_line(board):
    board.boot()
    board.expect('my application: the line is high', within=5)
EOF
python3 -m pytest -q
# A broken one is told with what happened on its board.
sed 's/2, 3, 1/9, 3, 1/' application.c >broken.c
gcc -o application broken.c "${flags[@]}"
! python3 -m pytest -q >failure || exit 1
grep -q 'start: /opt/app/Quillon' failure
grep -q 'my application: no line' failure
