#!/usr/bin/env bash
# Builds a release, runs the spacecraft target as generated code would run and checks what it logged; runs it and a
# bouncing ball as FMUs, the ball 20 times more; streams a run and kills one; in the end lists and plots the flight.
#
#   scripts/demo.sh OUT
out=${1:-demo-out}
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

[ -d build/demo ] || echo "The first build takes some minutes; build/logs/build.log shows how far it is."
stage "build" build demo || exit 1

mkdir -p "$out"
programs=build/demo/bin
"$programs/spacecraft_write_configuration" "$out/config.qat"
"$programs/spacecraft" --config "$out/config.qat" --out "$out/results.qat"
"$programs/spacecraft_show_results" "$out/results.qat"

# Runs a program and shows how it is typed.
show() {
  printf '\n$ %s' "$1"
  printf ' %q' "${@:2}"
  printf '\n'
  "$programs/$1" "${@:2}"
}
typed() { show qat "$@"; }

fmus=build/demo/fmus
show vtio-run run "$fmus/bouncing_ball_fmi3.fmu" --locals -o "$out/ball.qat"
typed ls "$out/ball.qat"
typed plot "$out/ball.qat" h
typed plot "$out/ball.qat" h v -o "$out/ball.svg"
show vtio-run run "$fmus/spacecraft_fmi3.fmu" -o "$out/spacecraft.qat"
typed ls "$out/spacecraft.qat"
typed plot "$out/spacecraft.qat" attitude.error mode
typed plot "$out/spacecraft.qat" attitude.error wheels.speed mode -o "$out/spacecraft.svg"
show vtio-run sweep "$fmus/bouncing_ball_fmi3.fmu" --grid e=0.5:0.9:20 --final h --final v -j "$jobs" \
  -o "$out/sweep.qat"
typed ls "$out/sweep.qat"
typed plot "$out/sweep.qat" h -o "$out/sweep.svg"

echo
echo "The same run, streamed into $out/streamed.qat:"
"$programs/spacecraft" --config "$out/config.qat" --out "$out/linked.qat" --stream "$out/streamed.qat"
"$programs/spacecraft_show_results" "$out/streamed.qat"

echo
echo "A run that is killed half-way; what was flushed is in $out/killed.qat:"
"$programs/spacecraft" --config "$out/config.qat" --out "$out/never.qat" --stream "$out/killed.qat" --step 0.001 \
  --duration 100000 >"$out/killed.log" 2>&1 &
killed=$!
sleep 3
kill -KILL "$killed"
wait "$killed" 2>/dev/null || true
rm -f "$out/never.qat" "$out/killed.log"
typed ls "$out/killed.qat"
typed check "$out/killed.qat" || true
echo "In Python: h5py.File('$out/streamed.qat'); while a run goes on: h5py.File(name, libver='latest', swmr=True)."

flight=(altitude pointingError wheels.speed mode 'valveOpen*' batteryCharge)
typed ls "$out/results.qat"
typed plot "$out/results.qat" altitude mode
typed plot "$out/results.qat" "${flight[@]}" -o "$out/flight.svg"
drawn=$out/flight.svg
if typed plot "$out/results.qat" "${flight[@]}" -o "$out/flight.html"; then
  drawn+=", and in $out/flight.html with zoom and cursors"
else
  echo "(Why the page was not built: grep -A 20 'without the page' build/logs/build.log)"
fi
printf '\nThe flight is drawn in %s. Next, for example (qat is %s):\n' "$drawn" "$programs/qat"
printf '  %s show %s wheels.speed --from 1200 --to 1200.5\n' "$programs/qat" "$out/results.qat"
printf '  %s view %s    # everything in the browser; Ctrl-C ends it\n' "$programs/qat" "$out/results.qat"
