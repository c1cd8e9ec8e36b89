#!/usr/bin/env bash
# Soak test, not part of CI: `kestrune-tool play --loop` of a dense song (32 tracks of sixteenth
# notes at 140 bpm, 16 channels) into a JACK client, through a dummy JACK server of its own, for
# MINUTES minutes (default 10). The server is killed twice on the way (as if it crashed) and
# started again; each time play must say so and exit 1 within a second, and is started again. At
# the end play gets SIGHUP (a closed terminal) and must exit 0 leaving no note sounding. Play's
# memory is sampled all the while. Prints its figures, `name value`, and exits 1 on a failure.
#
#   scripts/soak.sh [MINUTES]        (KESTRUNE_TOOL=path overrides build/app/kestrune-tool)
set -uo pipefail

minutes=${1:-10}
if ! [[ "$minutes" =~ ^[0-9]+([.][0-9]+)?$ ]]; then
    echo "usage: scripts/soak.sh [MINUTES]" >&2
    exit 2
fi
tool=$(realpath "${KESTRUNE_TOOL:-build/app/kestrune-tool}")
for cmd in jackd jack_lsp jack_midi_dump csvmidi; do
    command -v "$cmd" >/dev/null || { echo "soak: $cmd is missing (scripts/install-deps.sh)" >&2; exit 2; }
done
[ -x "$tool" ] || { echo "soak: $tool is not built (scripts/build.sh)" >&2; exit 2; }

work=$(mktemp -d)
export JACK_DEFAULT_SERVER="kestrune-soak-$$"
server_pid="" monitor_pid="" play_pid=""
failures=0
fail() { echo "soak: FAIL: $*" >&2; failures=$((failures + 1)); }

cleanup() {
    for pid in $play_pid $monitor_pid $server_pid; do kill -KILL "$pid" 2>/dev/null; done
    wait 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

# The song: a tempo track and 32 tracks, 8 bars of sixteenths, half a sixteenth long.
song_csv() {
    echo "0, 0, Header, 1, 33, 192"
    echo "1, 0, Start_track"
    echo "1, 0, Tempo, 428571"
    echo "1, 0, End_track"
    for t in $(seq 0 31); do
        local track=$((t + 2)) channel=$((t % 16)) key=$((36 + t))
        echo "$track, 0, Start_track"
        for i in $(seq 0 127); do
            echo "$track, $((i * 48)), Note_on_c, $channel, $key, 100"
            echo "$track, $((i * 48 + 24)), Note_off_c, $channel, $key, 0"
        done
        echo "$track, $((128 * 48)), End_track"
    done
    echo "0, 0, End_of_file"
}
song_csv | csvmidi > "$work/dense.mid" || { echo "soak: csvmidi failed" >&2; exit 1; }

now_ms() { date +%s%3N; }

start_server() {
    jackd -n "$JACK_DEFAULT_SERVER" --no-realtime -d dummy -r 48000 -p 1024 >/dev/null 2>&1 &
    server_pid=$!
    for _ in $(seq 100); do
        jack_lsp >/dev/null 2>&1 && return 0
        sleep 0.05
    done
    echo "soak: jackd did not start" >&2
    exit 1
}

# The stand-in synth: jack_midi_dump writes every event it receives.
start_monitor() {
    jack_midi_dump > "$work/monitor$1.txt" 2>/dev/null &
    monitor_pid=$!
    for _ in $(seq 100); do
        jack_lsp 2>/dev/null | grep -q '^midi-monitor:input$' && return 0
        sleep 0.05
    done
    echo "soak: jack_midi_dump did not start" >&2
    exit 1
}

start_play() {
    "$tool" play "$work/dense.mid" --port A=midi-monitor:input --loop \
        > "$work/play$1.out" 2> "$work/play$1.err" &
    play_pid=$!
}

rss_kb() { awk '/^VmRSS/ { print $2 }' "/proc/$1/status" 2>/dev/null; }

# Plays for `seconds`, sampling play's memory every 5 s; keeps the first sample after 10 s of
# warming up and the last one.
run_for() {
    local until=$(( $(now_ms) + $1 * 1000 )) started
    started=$(now_ms)
    rss_first="" rss_last=""
    while [ "$(now_ms)" -lt "$until" ]; do
        kill -0 "$play_pid" 2>/dev/null || { fail "play ended by itself: $(cat "$work/play$run.err")"; return; }
        local rss
        rss=$(rss_kb "$play_pid")
        if [ -n "$rss" ] && [ $(( $(now_ms) - started )) -ge 10000 ]; then
            [ -z "$rss_first" ] && rss_first=$rss
            rss_last=$rss
        fi
        sleep 5 &
        wait $! 2>/dev/null
    done
}

# Waits up to 5 s for play to exit; sets `status` and `exit_ms`.
wait_play() {
    local from
    from=$(now_ms)
    status="none"
    for _ in $(seq 500); do
        if ! kill -0 "$play_pid" 2>/dev/null; then
            wait "$play_pid"
            status=$?
            break
        fi
        sleep 0.01
    done
    exit_ms=$(( $(now_ms) - from ))
    [ "$status" = "none" ] && { kill -KILL "$play_pid"; wait "$play_pid" 2>/dev/null; }
}

# Notes left sounding in a monitor's record: note-ons less note-offs per channel and key.
stuck_notes() {
    # jack_midi_dump writes "FRAME: B0 B1 B2 description", the bytes in hex.
    awk 'function hex(s,   v, i) {
        s = tolower(s); v = 0
        for (i = 1; i <= length(s); ++i) v = v * 16 + index("0123456789abcdef", substr(s, i, 1)) - 1
        return v
    }
    $1 ~ /:$/ && NF >= 4 {
        status = hex($2); type = int(status / 16) * 16; key = (status % 16) * 128 + hex($3)
        if (type == 144 && hex($4) > 0) on[key]++
        else if (type == 128 || type == 144) on[key] = 0
    } END { c = 0; for (k in on) if (on[k] > 0) c++; print c }' "$1"
}

total_s=$(awk -v m="$minutes" 'BEGIN { printf "%d", m * 60 }')
segment_s=$(( total_s / 3 ))
[ "$segment_s" -ge 15 ] || { echo "soak: at least 0.75 minutes, please" >&2; exit 2; }

start_server
rss_report=""
for run in 1 2 3; do
    start_monitor "$run"
    start_play "$run"
    run_for "$segment_s"
    rss_report+="rss_run${run}_kb ${rss_first:-0} ${rss_last:-0}"$'\n'
    if [ "$run" -lt 3 ]; then
        kill -KILL "$server_pid"
        wait "$server_pid" 2>/dev/null
        wait_play
        echo "server_kill_${run}_play_exit $status"
        echo "server_kill_${run}_play_exit_ms $exit_ms"
        [ "$status" = 1 ] || fail "play exited with $status after the server was killed"
        [ "$exit_ms" -le 1000 ] || fail "play took $exit_ms ms to notice the server was gone"
        grep -q "JACK server has stopped" "$work/play$run.err" || fail "play did not say the server stopped"
        kill -KILL "$monitor_pid" 2>/dev/null
        wait "$monitor_pid" 2>/dev/null
        start_server
    fi
done

kill -HUP "$play_pid"
wait_play
sleep 0.5
kill -INT "$monitor_pid"
wait "$monitor_pid" 2>/dev/null
stuck=$(stuck_notes "$work/monitor3.txt")
events=$(grep -c "^ *[0-9]*:" "$work/monitor3.txt")
echo "sighup_play_exit $status"
echo "sighup_play_exit_ms $exit_ms"
echo "last_run_events_received $events"
echo "stuck_notes_at_end $stuck"
printf "%s" "$rss_report"
[ "$status" = 0 ] || fail "play exited with $status on SIGHUP"
[ "$stuck" = 0 ] || fail "$stuck notes were left sounding"
[ "$events" -gt 1000 ] || fail "the monitor received only $events events in the last run"
while read -r name first last; do
    [ -z "$name" ] && continue
    # Flat: no more than 1 MB of growth within a run once warmed up.
    [ $(( last - first )) -le 1024 ] || fail "$name grew from $first to $last kB"
done <<< "$rss_report"
[ "$failures" = 0 ] && echo "soak passed" || echo "soak FAILED ($failures)"
[ "$failures" = 0 ]
