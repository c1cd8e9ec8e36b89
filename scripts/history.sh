#!/usr/bin/env bash
# Writes help/History.txt, the Version History the Help menu shows, from the change log of this
# tree: the newest day first, each change on a line of its own. Run it before a release.
set -euo pipefail
cd "$(dirname "$0")/.."
version="$(sed -n 's/.*program_version = "\([0-9.]*\)".*/\1/p' core/version.h)"
{
  echo "Kestrune MIDI Sequencer - Version History"
  echo
  echo "Version $version (in development)"
  git log --no-merges --date=short --format='%ad%x09%s' | awk -F '\t' '
    $1 != day { day = $1; printf "\n%s\n", day }
    { printf "  - %s\n", $2 }'
} >help/History.txt
