# Sourced by the scripts of this folder: steps that take minutes say so, move, and leave a log.
# shellcheck shell=bash

# step TITLE LOG COMMAND...: runs a command with all its output in LOG. Meanwhile a terminal shows
# the time and the log's last line, anything else a line every half minute. A step that fails shows
# the end of its log.
step() {
  local title=$1 log=$2 watcher status=0
  mkdir -p "$(dirname "$log")"
  : > "$log"
  echo "$title (log: $log)"
  watch_log "$log" &
  watcher=$!
  "${@:3}" >> "$log" 2>&1 < /dev/null || status=$?
  kill "$watcher" 2> /dev/null || true
  wait "$watcher" 2> /dev/null || true
  [[ ! -t 1 ]] || printf '\r\033[K'
  if [[ $status != 0 ]]; then
    tail -n "${STEP_LINES-60}" "$log" >&2
    echo "$title: failed, see $log" >&2
  fi
  return "$status"
}

# Ends with the script, however the script ends.
watch_log() {
  local seconds=0 every=30 line
  [[ ! -t 1 ]] || every=1
  while sleep 1 && kill -0 $$ 2> /dev/null; do
    seconds=$((seconds + 1))
    [[ $((seconds % every)) == 0 ]] || continue
    line=$(tail -c 400 "$1" | tr '\r' '\n' | tr -cd '[:print:]\n' | grep . | tail -n 1 | cut -c -64) || line=
    line=$(printf '  %d:%02d  %s' $((seconds / 60)) $((seconds % 60)) "$line")
    if [[ -t 1 ]]; then printf '\r\033[K%s' "$line"; else echo "$line"; fi
  done
}
