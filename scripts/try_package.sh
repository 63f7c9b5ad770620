#!/usr/bin/env bash
# Installs the Debian package in a bare Debian that debootstrap makes, and lives through its life there:
# installation, service, rotation of the log, upgrade, what goes wrong, removal, purge. Prints what each
# step shows, and ends at the first that is not as expected.
#
# Needs root and, the first time, the network. Everything is in build/package-trial and in a mount and
# process namespace that ends with this script.
set -euo pipefail
cd "$(dirname "$0")/.."

trial=$PWD/build/package-trial
root=$trial/root
suite=bookworm

if [ "$(id -u)" != 0 ]; then
  echo "try_package.sh: makes a system of its own, which takes root" >&2
  exit 1
fi
if [ "${1:-}" != inside ]; then
  . scripts/packages.sh
  need_packages "${PACKAGE_PACKAGES[@]}" "${PACKAGE_TEST_PACKAGES[@]}"
  ./package --native
  rm -rf "$trial/packages"
  mkdir -p "$trial/packages" "$root"
  build_package() { # FOLDER CPACK_OPTION...
    cpack --config build/linux/CPackConfig.cmake -B "$trial/packages/$1" "${@:2}" >"$trial/cpack.log"
  }
  cp build/linux/packages/*.deb "$trial/packages/new.deb"
  build_package old -D CPACK_PACKAGE_VERSION=0.9.0
  build_package foreign -D CPACK_DEBIAN_PACKAGE_ARCHITECTURE=s390x
  if [ ! -e "$trial/base.tar" ]; then
    # With what the package works with where it is there.
    debootstrap --variant=minbase --include=systemd,logrotate $suite "$trial/base" \
      "${TARN_DEBIAN_MIRROR:-http://deb.debian.org/debian}" >"$trial/debootstrap.log"
    tar -C "$trial/base" -cf "$trial/base.tar" .
    rm -rf "$trial/base"
  fi
  exec unshare --mount --pid --fork --kill-child --propagation private "$0" inside
fi

# --- The bare system -----------------------------------------------------------------------------

step() { printf '\n== %s\n' "$1"; }
fail() { printf 'NOT AS EXPECTED: %s\n' "$1" >&2; exit 1; }
inside() { chroot "$root" env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
  LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }
# Runs what is to fail, shows what it says, and checks that it says why.
refused() { # WORDS COMMAND...
  local said status=0
  said=$(inside "${@:2}" 2>&1) || status=$?
  printf '%s\n' "$said" | sed 's/^/    /'
  [ $status -ne 0 ] || fail "'${*:2}' succeeded"
  grep -q -- "$1" <<<"$said" || fail "'${*:2}' does not say '$1'"
}
wait_for() { # PATTERN FILE
  local tries
  for tries in {1..300}; do
    ! grep -qs -- "$1" "$2" || return 0
    sleep 0.1
  done
  tail -n 20 "$2" >&2
  fail "no '$1' in $2"
}
# Names, kinds and modes of everything, and the content below /etc; without what dpkg writes about itself.
snapshot() {
  (cd "$root" && find . -xdev \( -path ./proc -o -path ./dev -o -path ./tmp -o -path ./run \
    -o -path ./packages -o -path './var/lib/dpkg' -o -path './var/cache' -o -path './var/log/dpkg.log' \
    -o -path './var/log/apt' -o -path './var/lib/apt' -o -path './var/lib/systemd' \
    -o -path './var/lib/logrotate' \) -prune \
    -o -printf '%p %y %m %l\n' | sort && find etc -type f -print0 | sort -z | xargs -0 md5sum)
}
version() { inside dpkg-query -W -f='${Status} ${Version}' tarnscale 2>/dev/null || true; }
expect_version() { [ "$(version)" = "$1" ] || fail "the package is '$(version)', not '$1'"; }
# The installed program and its files are whole.
expect_whole() {
  expect_version "install ok installed $1"
  inside tarnscale --version >/dev/null
  [ -z "$(inside dpkg --verify tarnscale)$(inside dpkg --audit)" ] || fail "files have changed"
}

mount -t tmpfs -o size=900m,mode=755 trial "$root"
tar -C "$root" -xf "$trial/base.tar"
mount -t proc proc "$root/proc"
# Lines whose group may use them, as serial ports are.
dialout=$(awk -F: '$1 == "dialout" { print $3 }' "$root/etc/group")
mkdir -p "$root/dev/pts" "$root/packages"
mount -t devpts -o "newinstance,ptmxmode=0666,mode=660,gid=$dialout" devpts "$root/dev/pts"
ln -sf pts/ptmx "$root/dev/ptmx"
cp /etc/resolv.conf "$root/etc/resolv.conf"
cp "$trial/packages/new.deb" "$root/packages/new.deb"
cp "$trial"/packages/old/*.deb "$root/packages/old.deb"
cp "$trial"/packages/foreign/*.deb "$root/packages/foreign.deb"
new=$(dpkg-deb -f "$root/packages/new.deb" Version)

# This stands for a running systemd, which a changed root cannot have.
mkdir -p "$root/run/systemd/system"
cat >"$root/usr/bin/systemctl" <<'TEXT'
#!/bin/sh
echo "$*" >>/run/systemctl.log
case "$1" in try-reload-or-restart) kill -HUP "$(cat /run/service.pid)" ;; esac
TEXT
asked() { grep -qs -- "$1" "$root/run/systemctl.log" || fail "systemctl was not asked: $1"; }
snapshot >"$trial/before"

# --- Installation --------------------------------------------------------------------------------

step "a full disk during the first installation"
fill() { dd if=/dev/zero of="$root/filler" bs=1M count=2000 status=none 2>/dev/null || true
  truncate -s -"$1" "$root/filler"; }
fill 1500K
refused "No space left on device" dpkg -i /packages/new.deb
rm "$root/filler"
[ ! -e "$root/usr/bin/tarnscale" ] || fail "files are left"
inside dpkg --purge tarnscale >/dev/null 2>&1 || true

step "installation of an older version"
inside apt-get -q update >"$trial/apt.log" 2>&1
inside apt-get -q -y --no-install-recommends install /packages/old.deb 2>&1 | tail -n 3
expect_whole 0.9.0
asked daemon-reload

step "what is installed"
inside tarnscale --version
inside tarnsim --version
for file in "$root"/usr/share/bash-completion/completions/tarn*; do bash -n "$file"; done
for page in "$root"/usr/share/man/man1/tarn*.gz; do
  gzip -dc "$page" | mandoc -Tlint -W warning || fail "$page"
done
lintian --allow-root --fail-on error,warning "$root/packages/new.deb"
inside mkdir -p /etc/systemd/system/multi-user.target.wants
ln -s /lib/systemd/system/tarnscale@.service \
  "$root/etc/systemd/system/multi-user.target.wants/tarnscale@plant.service"
inside systemd-analyze verify --man=no tarnscale@plant.service
inside systemd-analyze security --offline=true --threshold=20 \
  /lib/systemd/system/tarnscale@.service | tail -n 1

# --- Service -------------------------------------------------------------------------------------

step "the service: settings, readiness, status"
inside sh -c 'exec tarnsim continuous --port /run/line1 --load "load 12.5" --print-every 0.5' \
  >"$trial/tarnsim.log" 2>&1 &
wait_for '^ready' "$trial/tarnsim.log"
inside tarnscale set /etc/tarnscale/plant.scl 1 alias=Packing connection=serial port=1 \
  device=/run/line1 protocol=continuous type=standard enabled=yes
python3 -c '
import socket, sys
manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
manager.bind("\0" + sys.argv[1])
while True:
    print(manager.recv(4096).decode(), end="", flush=True)' "$trial" >>"$trial/states" &
sleep 0.5
# As the unit says, with its folders and a user that owns nothing else.
user=64321
unit() { sed -n "s|^$1=||p" "$root/lib/systemd/system/tarnscale@.service" |
  sed 's|%E|/etc|g; s|%S|/var/lib|g; s|%L|/var/log|g; s|%i|plant|g'; }
for folder in "/var/lib/$(unit StateDirectory)" "/var/log/$(unit LogsDirectory)"; do
  inside install -d -m 750 -o $user -g $user "$folder"
done
start_service() {
  : >"$trial/states"
  inside install -m 644 -o $user /dev/null /run/service.pid
  inside setpriv --reuid $user --regid $user --groups "$dialout" env $(unit Environment) \
    NOTIFY_SOCKET="@$trial" WATCHDOG_USEC=1000000 \
    sh -c "umask $(unit UMask); echo \$\$ >/run/service.pid; exec $(unit ExecStart |
      sed 's/ \$OPTIONS//')" >/dev/null 2>"$trial/service.log" &
  service=$!
  wait_for '^READY=1' "$trial/states"
}
start_service
wait_for '^STATUS=1 of 1 scales good' "$trial/states"
wait_for '^WATCHDOG=1' "$trial/states"
sort -u "$trial/states"
log=$root/var/log/tarnscale/plant/prints.log
wait_for Packing "$log"

step "the log is rotated, no record is lost"
inside logrotate --force /etc/logrotate.d/tarnscale
wait_for '^RELOADING=1' "$trial/states"
wait_for Packing "$log"
ls "$root/var/log/tarnscale/plant"
cat "$trial/service.log"

# --- Upgrade, and what goes wrong ----------------------------------------------------------------

step "upgrade while the service runs"
settings=$(md5sum <"$root/etc/tarnscale/plant.scl")
echo '# changed here' >>"$root/etc/logrotate.d/tarnscale"
inside apt-get -q -y --no-install-recommends install /packages/new.deb 2>&1 | tail -n 2
expect_version "install ok installed $new"
asked "try-restart tarnscale@\*.service"
kill -0 $service || fail "the service has ended"
[ "$settings" = "$(md5sum <"$root/etc/tarnscale/plant.scl")" ] || fail "settings have changed"
grep -q '# changed here' "$root/etc/logrotate.d/tarnscale" || fail "a changed configuration is lost"
sed -i '/# changed here/d' "$root/etc/logrotate.d/tarnscale"
expect_whole "$new"
kill "$(cat "$root/run/service.pid")"
wait $service || fail "the service ends with status $?"
wait_for '^STOPPING=1' "$trial/states"
start_service

step "packages that are cut, damaged, for other machines, or older; a full disk; missing rights"
head -c 600000 "$root/packages/new.deb" >"$root/packages/cut.deb"
refused "truncated\|unexpected end" dpkg -i /packages/cut.deb
cp "$root/packages/new.deb" "$root/packages/damaged.deb"
printf 'damage damage damage' |
  dd of="$root/packages/damaged.deb" bs=1 seek=500000 conv=notrunc status=none
refused "corrupt\|decompress\|error" dpkg -i /packages/damaged.deb
refused "does not match system" dpkg -i /packages/foreign.deb
refused "downgraded" apt-get -q -y install /packages/old.deb
fill 1500K
refused "No space left on device" dpkg -i /packages/new.deb
rm "$root/filler"
refused "superuser privilege" setpriv --reuid $user --clear-groups dpkg -i /packages/new.deb
expect_whole "$new"
kill -0 $service || fail "the service has ended"

# --- Removal -------------------------------------------------------------------------------------

step "removal keeps settings and records"
inside dpkg -r tarnscale
asked "stop tarnscale@\*.service"
[ ! -e "$root/usr/bin/tarnscale" ] || fail "the program is left"
[ -s "$root/etc/tarnscale/plant.scl" ] && [ -s "$log" ] || fail "settings or records are lost"
kill "$(cat "$root/run/service.pid")"
wait $service || fail "the service ends with status $?"

step "purge leaves the user's own settings, and else the system as it was"
inside dpkg -P tarnscale 2>&1
rm "$root/etc/tarnscale/plant.scl"
rmdir "$root/etc/tarnscale"
rmdir --ignore-fail-on-non-empty "$root/etc/systemd/system/multi-user.target.wants"
snapshot >"$trial/after"
diff "$trial/before" "$trial/after" || fail "something is left"

step "done: everything is as expected"
