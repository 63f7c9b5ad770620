#!/bin/bash
# Runs a Windows program of this project under Wine, with a pair of COM ports that are joined to
# each other.
#
#   tests/wine/run_under_wine.sh PROGRAM [ARGS...]
#
# A PROGRAM whose name ends in .exe runs under Wine; any other one runs as it is, with the
# environment in place (WINEPREFIX and so on), and may start Wine itself. The two ends of the pair
# are in TARN_TEST_PORT_A and TARN_TEST_PORT_B; while a file of the name in TARN_TEST_UNPLUG exists,
# the pair is gone, as when an adapter is unplugged. The exit status is the program's own; 125 says
# that the surroundings could not be prepared.
#
# The prefix is the project's own, below build/wine, so nothing of the user's is touched. One program
# at a time: a lock keeps a second one waiting, since both would use the same ports.
#
#   TARN_WINE_LIMIT   seconds that the program may take (default 600)
#   TARN_WINE_PREFIX  another prefix below build/wine than "prefix", made when it is missing
set -u

if [ $# -eq 0 ]; then
  echo "usage: $0 PROGRAM [ARGS...]" >&2
  exit 125
fi

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
home=$root/build/wine
noise=$home/prefix.log
mkdir -p "$home" || exit 125
. "$root/scripts/wine.sh"

# Every child that stays must not inherit descriptor 9, or it would hold the lock.
exec 9>"$home/lock"
flock 9

fail() {
  echo "run_under_wine: $1" >&2
  exit 125
}

# In the background: the pair, and its absence while the program wants it so. Ends with this script
# even where that was ended by force.
keep_joined() {
  trap 'kill "$pair" 2>/dev/null; exit' TERM
  while kill -0 $$ 2>/dev/null; do
    socat "pty,raw,echo=0,link=$ports/a" "pty,raw,echo=0,link=$ports/b" &
    pair=$!
    while [ ! -e "$ports/unplugged" ] && kill -0 $$ 2>/dev/null; do sleep 0.1; done
    kill "$pair"
    wait "$pair"
    while [ -e "$ports/unplugged" ] && kill -0 $$ 2>/dev/null; do sleep 0.1; done
  done
}

join_ports() {
  ports=$(mktemp -d "$home/ports.XXXXXX") || fail "no folder for the ports"
  keep_joined >>"$noise" 2>&1 </dev/null 9>&- &
  joiner=$!
  for _ in $(seq 200); do
    [ -e "$ports/a" ] && [ -e "$ports/b" ] && break
    sleep 0.05
  done
  [ -e "$ports/a" ] && [ -e "$ports/b" ] || fail "socat does not join the ports"
  ln -sfn "$ports/a" "$WINEPREFIX/dosdevices/com5"
  ln -sfn "$ports/b" "$WINEPREFIX/dosdevices/com6"
  export TARN_TEST_PORT_A=COM5 TARN_TEST_PORT_B=COM6
  export TARN_TEST_UNPLUG=$ports/unplugged
  case $1 in *.exe) TARN_TEST_UNPLUG=Z:$TARN_TEST_UNPLUG ;; esac
}

joiner=
ports=
tidy() {
  rm -f "$WINEPREFIX/dosdevices/com5" "$WINEPREFIX/dosdevices/com6"
  if [ -n "$joiner" ]; then
    kill "$joiner" 2>/dev/null
    wait "$joiner" 2>/dev/null
  fi
  [ -z "$ports" ] || rm -rf "$ports"
}
trap tidy EXIT
trap 'exit 125' INT TERM

prepare_wine "$home" "${TARN_WINE_PREFIX:-prefix}" || fail "Wine does not start, see $noise"
join_ports "$1"

limit=(timeout)
# A program at a terminal reads its keys; in a process group of its own it would be stopped for that.
[ ! -t 0 ] || limit+=(--foreground)
limit+=(-k 10 "${TARN_WINE_LIMIT:-600}")
case $1 in
  *.exe) "${limit[@]}" wine "$@" 9>&- ;;
  *) "${limit[@]}" "$@" 9>&- ;;
esac
