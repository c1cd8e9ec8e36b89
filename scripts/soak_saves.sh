#!/usr/bin/env bash
# Soak test of saving, not part of CI: `kestrune-tool convert`, or in turn `apply` of Quantize,
# writes a large song over a file that holds a small one and is killed at a random moment, COUNT
# times (default 200), by SIGTERM, SIGHUP or SIGINT, and every tenth time by SIGKILL. After each kill the target must hold the whole
# old song or the whole new one, and the folder nothing else: a temporary file that SIGKILL leaves
# must be gone after the next save into the folder. Prints its figures, `name value`, and exits 1
# on a failure.
#
#   scripts/soak_saves.sh [COUNT]     (KESTRUNE_TOOL=path overrides build/app/kestrune-tool)
set -uo pipefail

count=${1:-200}
if ! [[ "$count" =~ ^[0-9]+$ ]]; then
    echo "usage: scripts/soak_saves.sh [COUNT]" >&2
    exit 2
fi
tool=$(realpath "${KESTRUNE_TOOL:-build/app/kestrune-tool}")
[ -x "$tool" ] || { echo "soak_saves: $tool is not built (scripts/build.sh)" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "soak_saves: FAIL: $*" >&2; failures=$((failures + 1)); }

# Four bytes, big-endian.
be32() { printf "\\$(printf %03o $(($1 >> 24 & 255)))\\$(printf %03o $(($1 >> 16 & 255)))\\$(printf %03o $(($1 >> 8 & 255)))\\$(printf %03o $(($1 & 255)))"; }

# A format 1 MIDI file of TRACKS tracks, each NOTES notes of a sixteenth.
midi_file() {
    local tracks=$1 notes=$2
    printf 'MThd\0\0\0\6\0\1\0'
    printf "\\$(printf %03o "$tracks")"
    printf '\0\140'  # division 96
    for _ in $(seq "$tracks"); do
        printf 'MTrk'
        be32 $((notes * 8 + 4))
        # Delta 24, note on; delta 24, note off; the same bytes each time.
        printf '\030\220\074\100\030\200\074\000%.0s' $(seq "$notes")
        printf '\0\377\057\0'
    done
}

midi_file 1 4 >"$work/small.mid"
midi_file 24 6000 >"$work/large.mid"
"$tool" convert "$work/small.mid" "$work/old.sng" 2>/dev/null || { echo "soak_saves: no old song" >&2; exit 1; }
mkdir "$work/out"
target="$work/out/song.sng"
# The two ways to the new song, each with what it saves: the tool's words for WAY into OUT.
saves=(convert apply)
save_words() {
    case $1 in
    convert) words=(convert "$work/large.mid" "$2") ;;
    apply) words=(apply "$work/large.mid" "$2" Quantize quantize=16) ;;
    esac
}
for way in "${saves[@]}"; do
    save_words "$way" "$work/$way.sng"
    "$tool" "${words[@]}" 2>/dev/null || { echo "soak_saves: $way saves no song" >&2; exit 1; }
done

# How long a whole save takes: the kills fall anywhere within it.
save_words apply "$target"
start=$(date +%s%N)
"$tool" "${words[@]}" 2>/dev/null
span_us=$((($(date +%s%N) - start) / 1000))

signals=(TERM HUP INT)
old_kept=0 new_whole=0 killed_left=0
for round in $(seq "$count"); do
    way=${saves[round % 2]}
    cp "$work/old.sng" "$target"
    save_words "$way" "$target"
    "$tool" "${words[@]}" 2>/dev/null &
    pid=$!
    delay_us=$(((RANDOM * 32768 + RANDOM) % (span_us + 1)))
    sleep "$((delay_us / 1000000)).$(printf %06d $((delay_us % 1000000)))"
    if ((round % 10 == 0)); then sig=KILL; else sig=${signals[RANDOM % 3]}; fi
    kill -"$sig" "$pid" 2>/dev/null
    wait "$pid" 2>/dev/null
    if cmp -s "$target" "$work/old.sng"; then
        old_kept=$((old_kept + 1))
    elif cmp -s "$target" "$work/$way.sng"; then
        new_whole=$((new_whole + 1))
    else
        fail "round $round ($way, $sig): the target is neither the old song nor the new one"
    fi
    litter=$(ls -A "$work/out" | grep -v '^song\.sng$')
    if [ -n "$litter" ] && [ "$sig" != KILL ]; then
        fail "round $round ($way, $sig) left $litter"
    elif [ -n "$litter" ]; then
        killed_left=$((killed_left + 1))
        "$tool" convert "$work/small.mid" "$target" 2>/dev/null
        [ -z "$(ls -A "$work/out" | grep -v '^song\.sng$')" ] || fail "round $round: the next save left $litter"
    fi
done

echo "save_us $span_us"
echo "kills $count"
echo "old_kept $old_kept"
echo "new_whole $new_whole"
echo "sigkill_temporaries_removed $killed_left"
echo "failures $failures"
[ "$failures" -eq 0 ]
