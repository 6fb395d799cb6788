# shellcheck shell=bash disable=SC2034  # the variables are for those who source it
# Sourced: gets what the emulated ARM board needs into build/armboard/: Debian's kernel for ARM, its
# modules and a static busybox, all unpacked and nothing of them installed, and the kernel module
# built against that kernel's headers.

arm_packages=(qemu-system-arm g++-arm-linux-gnueabi g++-arm-linux-gnueabihf gcc-12-arm-linux-gnueabihf
              make cpio kmod device-tree-compiler xz-utils mtd-utils dosfstools mtools)

arm_root=$PWD/build/armboard

# apt for the board's architectures, with lists and a cache of its own.
arm_apt() {
  local state=$arm_root/apt
  mkdir -p "$state"/lists/partial "$state"/archives/partial
  : >>"$state/status"
  "$@" -o APT::Architecture=armhf -o APT::Architectures::=armhf -o APT::Architectures::=armel \
    -o Dir::State::Lists="$state/lists" -o Dir::State::status="$state/status" \
    -o Dir::Cache="$state" -o APT::Sandbox::User=root -q
}

# Unpacks what the board runs below build/armboard/root, the small C library below musl-ARCH.
fetch_arm_board() {
  local target=$arm_root kernel
  [[ ! -e $target/fetched ]] || return 0
  mkdir -p "$target/debs"
  # One list of several that fails to load is no reason to stop: the packages may be in the others.
  arm_apt apt-get update >/dev/null 2>&1 || true
  kernel=$(arm_apt apt-cache depends linux-image-armmp | sed -n 's/^ *Depends: linux-image-//p')
  [[ $kernel ]] || { echo "no kernel for the ARM board in the package lists" >&2; return 1; }
  (cd "$target/debs" && arm_apt apt-get download "linux-image-$kernel" "linux-headers-$kernel" \
    "linux-headers-${kernel%-armmp}-common" busybox-static:armhf libubootenv-tool:armhf \
    libubootenv0.1:armhf libc6:armhf zlib1g:armhf musl-dev:armhf musl-dev:armel &&
    apt-get download linux-kbuild-"${kernel%%.0-*}") >"$target/fetch.log" 2>&1 ||
    { tail -3 "$target/fetch.log" >&2; return 1; }
  local package
  for package in "$target"/debs/*.deb; do
    case $package in
      *musl-dev*_armhf.deb) dpkg -x "$package" "$target/musl-armhf" ;;
      *musl-dev*_armel.deb) dpkg -x "$package" "$target/musl-armel" ;;
      *) dpkg -x "$package" "$target/root" ;;
    esac || return 1
  done
  echo "$kernel" >"$target/fetched"
}

# The kernel as QEMU takes it quickest: unpacked, in a wrapper that names its place.
make_kernel_image() {
  python3 - "$1" "$2" <<'EOT'
import lzma, struct, sys, zlib
compressed = open(sys.argv[1], 'rb').read()
at = -1
while True:
    at = compressed.index(b'\xfd7zXZ\0', at + 1)
    try:
        image = lzma.LZMADecompressor().decompress(compressed[at:])
        break
    except lzma.LZMAError:
        pass
place, linux, arm, kernel = 0x60208000, 5, 2, 2
def header(crc):
    return struct.pack('>7I4B32s', 0x27051956, crc, 0, len(image), place, place, zlib.crc32(image),
                       linux, arm, kernel, 0, b'linux')
open(sys.argv[2] + '.new', 'wb').write(header(zlib.crc32(header(0))) + image)
EOT
  mv "$2.new" "$2"
}

# Everything the board boots from that is the same for all boards.
build_arm_board() {
  local target=$arm_root kernel headers tree module seed
  fetch_arm_board
  kernel=$(cat "$target/fetched")
  [[ -e $target/uImage ]] || make_kernel_image "$target/root/boot/vmlinuz-$kernel" "$target/uImage"
  if [[ ! -e $target/board.dtb ]]; then
    cp "$target/root/usr/lib/linux-image-$kernel/vexpress-v2p-ca9.dtb" "$target/board.dtb.new"
    # Without a seed the first random number takes seconds.
    read -ra seed < <(od -An -N64 -w64 -tx4 /dev/urandom)
    fdtput -t x "$target/board.dtb.new" /chosen rng-seed "${seed[@]}"
    mv "$target/board.dtb.new" "$target/board.dtb"
  fi
  headers=$target/root/usr/src/linux-headers-$kernel
  mkdir -p "$target/module"
  cp armboard/module/* "$target/module/"
  echo "include ${headers%-armmp}-common/Makefile" >"$headers/Makefile"
  make -s -C "$headers" M="$target/module" ARCH=arm CROSS_COMPILE=arm-linux-gnueabihf- \
    DEB_HOST_GNU_TYPE=arm-linux-gnueabihf modules >"$target/module.log" 2>&1 ||
    { cat "$target/module.log" >&2; return 1; }
  tree=$target/base
  rm -rf "$tree"
  mkdir -p "$tree"/{bin,sbin,proc,sys,dev,modules,opt/app,opt/sav,share,var,mnt/mtd,tool,tmp,etc}
  cp "$target/root/bin/busybox" "$tree/bin/"
  cp armboard/init "$tree/init"
  cp armboard/order armboard/order.disks "$target/module/armboard.ko" "$tree/modules/"
  # shellcheck disable=SC2013  # each word is a module
  for module in $(cat armboard/order armboard/order.disks); do
    find "$target/root/lib/modules/$kernel" -name "$module.ko" -exec cp {} "$tree/modules/" \;
    [[ -e $tree/modules/$module.ko ]] || { echo "there is no module $module" >&2; return 1; }
  done
  (cd "$tree" && find . | cpio -o -H newc --quiet) >"$target/base.cpio"
}
