# Sourced by ./run and ./test: brings the Debian packages that they need.
#
# need_packages PACKAGE...: installs the missing ones with apt, as root or through sudo, and says
# so. On other systems it names what to install and ends, unless SKIP_PACKAGES=1 says that all is
# there under other names.

. scripts/progress.sh

need_packages() {
  [ "${SKIP_PACKAGES:-0}" = 1 ] && return 0
  if ! command -v apt-get >/dev/null 2>&1 || ! command -v dpkg-query >/dev/null 2>&1; then
    cat >&2 <<TEXT
This script installs what it needs on Debian and Ubuntu. Here, install the equivalents of
  $*
by hand and start it again with SKIP_PACKAGES=1.
TEXT
    exit 1
  fi

  local missing=() package
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0

  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null 2>&1; then
      echo "These packages are missing; install them as root: apt-get install ${missing[*]}" >&2
      exit 1
    fi
    as_root=(sudo)
  fi
  echo "Installing with apt: ${missing[*]}"
  "${as_root[@]}" true # asks for the password here, not in the middle of the progress
  local log=build/packages.log
  with_progress "Installing packages" $log install_packages "${missing[@]}" || {
    tail -n 20 $log >&2
    exit 1
  }
}

# With as_root from need_packages.
install_packages() {
  "${as_root[@]}" apt-get update -q &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -y -q --no-install-recommends "$@"
}

BUILD_PACKAGES=(g++ cmake ninja-build libcli11-dev nlohmann-json3-dev googletest libbenchmark-dev
  libmicrohttpd-dev libcurl4-openssl-dev libmosquitto-dev libssl-dev)
TEST_PACKAGES=(clang libclang-rt-dev python3 clang-format python3-jsonschema
  python3-prometheus-client chromium chromium-driver python3-selenium mosquitto mosquitto-clients
  openssl)
# mingw-w64-tools brings the IDL compiler, libwine-dev and libwine the files that it imports.
WINDOWS_PACKAGES=(g++-mingw-w64-x86-64-posix mingw-w64-tools libwine-dev libwine wine wine64 socat)
WINDOWS_PACKAGING_PACKAGES=(wixl msitools zip)
WINDOWS32_PACKAGES=(g++-mingw-w64-i686-posix) # also, for the 32-bit build
LINT_PACKAGES=(clang-tidy)
PACKAGE_PACKAGES=(dpkg-dev file) # for ./package
PACKAGE_TEST_PACKAGES=(debootstrap lintian mandoc systemd-container) # for scripts/try_package.sh
