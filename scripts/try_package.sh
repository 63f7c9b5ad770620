#!/usr/bin/env bash
# Installs the Debian package in a bare Debian that debootstrap makes, and lives through its life there:
# installation, upgrade, what goes wrong, removal, purge, and the service in a system that is booted. Prints
# what each step shows, and ends at the first that is not as expected.
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
  cp build/packages/*.deb "$trial/packages/new.deb"
  build_package old -D CPACK_PACKAGE_VERSION=0.9.0
  build_package foreign -D CPACK_DEBIAN_PACKAGE_ARCHITECTURE=s390x
  if [ ! -e "$trial/base.tar" ]; then
    # With what the package works with where it is there.
    debootstrap --variant=minbase --include=systemd,logrotate $suite "$trial/base" \
      "${TARN_DEBIAN_MIRROR:-http://deb.debian.org/debian}" >"$trial/debootstrap.log"
    tar -C "$trial/base" -cf "$trial/base.tar" .
    rm -rf "$trial/base"
  fi
  exec unshare --mount --pid --fork --kill-child --mount-proc "$0" inside
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
# Names, kinds and modes of everything, and the content below /etc; without what dpkg writes about itself.
snapshot() {
  (cd "$root" && find . -xdev \( -path ./proc -o -path ./dev -o -path ./tmp -o -path ./run \
    -o -path ./packages -o -path './var/lib/dpkg' -o -path './var/cache' -o -path './var/log/dpkg.log' \
    -o -path ./etc/resolv.conf -o -path './var/log/apt' -o -path './var/lib/apt' -o -path './var/lib/systemd' \
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

new_root() {
  mount -t tmpfs -o size=900m,mode=755 trial "$root"
  tar -C "$root" -xf "$trial/base.tar"
  mkdir "$root/packages"
  cp "$trial/packages/new.deb" "$root/packages/new.deb"
  cp "$trial"/packages/old/*.deb "$root/packages/old.deb"
  cp "$trial"/packages/foreign/*.deb "$root/packages/foreign.deb"
}
new=$(dpkg-deb -f "$trial/packages/new.deb" Version)
new_root
mount -t proc proc "$root/proc"
cp /etc/resolv.conf "$root/etc/resolv.conf"
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

step "what is installed"
inside tarnscale --version
inside tarnsim --version
for file in "$root"/usr/share/bash-completion/completions/tarn*; do bash -n "$file"; done
for page in "$root"/usr/share/man/man1/tarn*.gz; do
  gzip -dc "$page" | mandoc -Tlint -W warning || fail "$page"
done
lintian --allow-root --fail-on error,warning "$root/packages/new.deb"
inside cp /lib/systemd/system/tarnscale@.service /tmp/tarnscale@plant.service
inside systemd-analyze verify --man=no /tmp/tarnscale@plant.service
inside systemd-analyze security --offline=true --threshold=20 \
  /lib/systemd/system/tarnscale@.service | tail -n 1

# --- Upgrade, and what goes wrong ----------------------------------------------------------------

step "upgrade with settings and a changed configuration"
inside tarnscale set /etc/tarnscale/plant.scl 1 alias=Packing >/dev/null
settings=$(md5sum <"$root/etc/tarnscale/plant.scl")
echo '# changed here' >>"$root/etc/logrotate.d/tarnscale"
inside apt-get -q -y --no-install-recommends install /packages/new.deb 2>&1 | tail -n 2
expect_version "install ok installed $new"
[ "$settings" = "$(md5sum <"$root/etc/tarnscale/plant.scl")" ] || fail "settings have changed"
grep -q '# changed here' "$root/etc/logrotate.d/tarnscale" || fail "a changed configuration is lost"
sed -i '/# changed here/d' "$root/etc/logrotate.d/tarnscale"
expect_whole "$new"

step "packages that are cut, damaged, for other machines, or older; a full disk; missing rights"
head -c 600000 "$root/packages/new.deb" >"$root/packages/cut.deb"
refused "unexpected end" dpkg -i /packages/cut.deb
cp "$root/packages/new.deb" "$root/packages/damaged.deb"
printf 'damage damage damage' |
  dd of="$root/packages/damaged.deb" bs=1 seek=500000 conv=notrunc status=none
refused "error" dpkg -i /packages/damaged.deb
refused "does not match system" dpkg -i /packages/foreign.deb
refused "downgraded" apt-get -q -y install /packages/old.deb
fill 1500K
refused "No space left on device" dpkg -i /packages/new.deb
rm "$root/filler"
refused "superuser privilege" setpriv --reuid 65534 --clear-groups dpkg -i /packages/new.deb
expect_whole "$new"

# --- Removal -------------------------------------------------------------------------------------

step "removal, and a purge that leaves the user's own settings and else the system as it was"
inside dpkg -r tarnscale
[ ! -e "$root/usr/bin/tarnscale" ] || fail "the program is left"
inside dpkg -P tarnscale 2>&1
rm "$root/etc/tarnscale/plant.scl"
rmdir "$root/etc/tarnscale"
snapshot >"$trial/after"
diff "$trial/before" "$trial/after" || fail "something is left"
umount "$root/proc" "$root"

# --- Service -------------------------------------------------------------------------------------

step "the service in a system that is booted"
new_root
mount -t proc proc "$root/proc"
# What the package depends on has to come before there is no network.
cp /etc/resolv.conf "$root/etc/resolv.conf"
inside apt-get -q update >"$trial/apt.log" 2>&1
inside apt-get -q -y --no-install-recommends install /packages/old.deb >>"$trial/apt.log" 2>&1
umount "$root/proc"
cp scripts/try_service.sh "$root/try_service.sh"
cat >"$root/etc/systemd/system/trial.service" <<'TEXT'
[Service]
Type=oneshot
ExecStart=/bin/bash /try_service.sh
ExecStopPost=/bin/systemctl --no-block poweroff
StandardOutput=append:/trial.out
StandardError=inherit
TEXT
mkdir -p "$root/etc/systemd/system/multi-user.target.wants"
ln -s ../trial.service "$root/etc/systemd/system/multi-user.target.wants/trial.service"
echo 0123456789abcdef0123456789abcdef >"$root/etc/machine-id"
timeout 300 systemd-nspawn --quiet --directory="$root" --boot --register=no --keep-unit \
  --private-network --console=pipe </dev/null >"$trial/boot.log" 2>&1 || true
cat "$root/trial.out"
grep -qx "the service is as expected" "$root/trial.out" || fail "see above"

step "done: everything is as expected"
