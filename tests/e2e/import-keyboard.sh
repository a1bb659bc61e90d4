#!/bin/sh
# The real window under a private X server: a card passed on the command line is listed on the
# Import page, the project is opened with Ctrl+O and the folder dialog, Ctrl+Return ("Queue &
# start") queues the card, the copies appear equal to their sources, and Ctrl+Q quits.
# Usage: import-keyboard.sh PATH-TO-VANTOR   (run by ctest under xvfb-run)
set -eu
vantor=$1
here=$(dirname "$0")
demo=$(mktemp -d "${TMPDIR:-/tmp}/vantor-e2e.XXXXXX")
trap 'rm -rf "$demo"' EXIT INT TERM
export VANTOR_SUPPORT_DIR="$demo/support" XDG_CONFIG_HOME="$demo/config" XDG_DATA_HOME="$demo/data"

mkdir -p "$demo/card/A001/AUDIO" "$demo/shoots"
head -c 400000 /dev/urandom >"$demo/card/A001/AUDIO/T001.WAV"
head -c 300000 /dev/urandom >"$demo/card/A001/AUDIO/T002.WAV"
printf '<take number="1"/>\n' >"$demo/card/A001/T001.XML"
project=$("$vantor" project create --template "Narrative film" --name "Keys" --date 2026-11-23 "$demo/shoots")

"$vantor" "$demo/card" >"$demo/window.log" 2>&1 &
window=$!
copies="$project/02_FOOTAGE/ORIGINALS/card"
# Ctrl+O, then the project's path typed into the folder dialog; tried again until the opened
# project is stored, since keys sent before the window or the dialog shows are lost.
opened=no
for attempt in $(seq 1 8); do
  sleep 3
  python3 "$here/keys.py" ctrl+o
  sleep 3
  # Ctrl+A first: a dialog left open by an earlier attempt keeps its text.
  python3 "$here/keys.py" ctrl+a "type:$project" Return
  for second in $(seq 1 5); do
    # A save lands in the state journal first, and in state.json when the journal is compacted.
    if grep -qaF "\"$project\"" "$VANTOR_SUPPORT_DIR/state.json" "$VANTOR_SUPPORT_DIR/state.journal" 2>/dev/null; then
      opened=yes
      break 2
    fi
    # The dialog's completer may take the first Return as picking its suggestion.
    [ "$second" = 2 ] && python3 "$here/keys.py" Return
    sleep 1
  done
done
[ "$opened" = yes ] || echo "The project was not opened through the folder dialog" >&2
done=no
# Ctrl+Return does nothing until the window shows and the scan has listed the card, so it is
# pressed once a second until the copies are there.
for second in $(seq 1 60); do
  if [ -f "$copies/A001/T001.XML" ] && [ -f "$copies/A001/AUDIO/T001.WAV" ] && [ -f "$copies/A001/AUDIO/T002.WAV" ]; then
    done=yes
    break
  fi
  [ -z "$(find "$project/02_FOOTAGE/ORIGINALS" -type f 2>/dev/null)" ] && python3 "$here/keys.py" ctrl+Return
  sleep 1
done
status=0
if [ "$done" = yes ]; then
  for file in A001/T001.XML A001/AUDIO/T001.WAV A001/AUDIO/T002.WAV; do
    cmp "$demo/card/$file" "$copies/$file" || status=1
  done
else
  echo "The copies did not appear in $copies" >&2
  status=1
fi
python3 "$here/keys.py" ctrl+q
for second in $(seq 1 20); do
  kill -0 "$window" 2>/dev/null || break
  sleep 1
done
if kill -0 "$window" 2>/dev/null; then
  echo "The window did not quit on Ctrl+Q" >&2
  kill "$window"
  status=1
fi
wait "$window" || status=1
[ "$status" = 0 ] || cat "$demo/window.log" >&2
exit "$status"
