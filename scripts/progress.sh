# Sourced: shows on a terminal that something long is going on.
#
# with_progress TITLE LOG COMMAND...: runs the command and appends its output to LOG. On a terminal
# one line meanwhile shows the seconds so far and the last line of LOG; elsewhere the title is all.
# Returns the status of the command.

with_progress() {
  local title=$1 log=$2 started=$SECONDS status=0 printer=
  mkdir -p "$(dirname "$log")"
  if [ -t 1 ]; then
    # It ends with this script, too, when Ctrl-C ends that.
    while kill -0 $$ 2>/dev/null && sleep 0.5; do
      printf '\r\e[K%.*s' "$(($(tput cols 2>/dev/null || echo 80) - 1))" \
        "$title, $((SECONDS - started)) s: $(tail -n 1 "$log" 2>/dev/null | tr -d '\r\t')"
    done &
    printer=$!
  else
    echo "$title (see $log)"
  fi
  "${@:3}" >>"$log" 2>&1 || status=$?
  if [ -n "$printer" ]; then
    kill "$printer" 2>/dev/null || true
    wait "$printer" 2>/dev/null || true
    printf '\r\e[K%s, %d s\n' "$title" "$((SECONDS - started))"
  fi
  return $status
}
