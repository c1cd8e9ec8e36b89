#!/usr/bin/env bash
# Installs every Debian package that building and testing Kestrune need. Safe to run again.
set -euo pipefail

packages=(
  build-essential cmake g++ clang
  libgtest-dev libgmock-dev libbenchmark-dev
  pkg-config libasound2-dev librtmidi-dev
  jackd2 libjack-jackd2-dev
  midicsv
  qt6-base-dev libgl-dev
  libfluidsynth-dev libglib2.0-dev libsndfile1-dev timgm6mb-soundfont
  liblo-dev desktop-file-utils shared-mime-info groff-base
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update
  $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "${missing[@]}"
fi
