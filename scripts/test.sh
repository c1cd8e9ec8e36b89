#!/usr/bin/env bash
# Installs what is needed, builds, and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh -DKESTRUNE_WERROR=ON
cd build
ctest --output-on-failure -j"$(nproc)"
