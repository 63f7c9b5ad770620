# Sourced: a Wine prefix of the project's own, so that nothing of the user's is touched.
#
# prepare_wine HOME NAME: makes the prefix HOME/NAME ready and sets WINEPREFIX and what goes with it.
# What the wineserver has to say (megabytes, when a pseudo-terminal goes) ends up in HOME/NAME.log.

prepare_wine() {
  local home=$1
  export WINEPREFIX=$home/$2 WINEARCH=win64 WINEDEBUG=-all
  # Without these Wine asks for its add-ons and writes menu entries.
  export WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe=d'
  unset DISPLAY WAYLAND_DISPLAY
  mkdir -p "$WINEPREFIX" || return 1

  # The server keeps running for a while, so that the next program starts at once, and then ends by
  # itself. It is started here, since it writes to the standard error of whoever starts it. Status 2
  # says that one runs already.
  local noise=$home/$2.log
  [ "$(stat -c %s "$noise" 2>/dev/null || echo 0)" -lt 20000000 ] || : >"$noise"
  local status=0
  timeout 60 wineserver -p30 >>"$noise" 2>&1 </dev/null 9>&- || status=$?
  [ $status -eq 0 ] || [ $status -eq 2 ] || return 1
  # The first program makes a new prefix ready (wineboot would do the same once more and leave a second
  # manager of services behind, which starts none). Wine's device manager takes away the COM ports that
  # it finds when it starts, so it has to run before they are made.
  timeout 300 wine cmd /c exit >>"$noise" 2>&1 </dev/null 9>&-
}
