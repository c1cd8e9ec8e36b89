#!/usr/bin/env bash
# Installs what is needed, builds, and runs every test; then builds the fuzz targets with clang
# as the README does and runs each for a few seconds.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh -DKESTRUNE_WERROR=ON
(cd build && ctest --output-on-failure -j"$(nproc)")

fuzz_seconds="${KESTRUNE_FUZZ_SECONDS:-5}"
cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++ \
      -DKESTRUNE_FUZZ=ON -DKESTRUNE_TESTS=OFF -DKESTRUNE_BENCH=OFF -DKESTRUNE_BACKENDS=OFF \
      -DKESTRUNE_WERROR=ON
cmake --build build-fuzz -j"$(nproc)"
mkdir -p build-fuzz/artifacts
for source in fuzz/*_fuzz.cpp; do
  target="$(basename "$source" .cpp)"
  # New inputs go into the first folder; the ones that once failed are read from the second.
  corpus=("build-fuzz/corpus/$target")
  mkdir -p "${corpus[0]}"
  [ -d "fuzz/regressions/$target" ] && corpus+=("fuzz/regressions/$target")
  echo "fuzz: $target for ${fuzz_seconds}s"
  "build-fuzz/fuzz/$target" "${corpus[@]}" -max_total_time="$fuzz_seconds" -print_final_stats=0 \
      -artifact_prefix=build-fuzz/artifacts/ >"build-fuzz/artifacts/$target.log" 2>&1 ||
    { tail -40 "build-fuzz/artifacts/$target.log"; exit 1; }
done
