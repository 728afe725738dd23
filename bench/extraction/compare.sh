#!/usr/bin/env bash
# Extracts the sample plants of the given sizes with two builds and compares the extracts table by
# table (mdb-export of every table; _Info left out, it holds the run's times) and their schemas
# (mdb-schema: column types and widths, keys). Exit 1 on a difference.
#
#   bench/extraction/compare.sh [--config FILE]... OLD_BUILD NEW_BUILD [SIZES...]    (default sizes: 4 40 400)
#
# With --config, each given attribute configuration is run in turn instead of config/default
# (bench/extraction/catalogue-configs.sh writes configurations that ask for every key a plant offers).
# With --duct-runs, both builds run with "DuctRuns=1" and "PIDVersion=09.00" in their tarnbrook.ini.
#
# Size 4 is the tiny plant. Plants are generated with NEW_BUILD's generator into WORK/plant-<N>
# (WORK: $TB_COMPARE_WORK, default /tmp/tb-compare) unless one is there already.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
configs=()
ductRuns=0
while [[ "${1:-}" == --* ]]; do
    case "$1" in
        --config) configs+=("$(realpath "$2")"); shift 2 ;;
        --duct-runs) ductRuns=1; shift ;;
        *) echo "unknown option $1" >&2; exit 2 ;;
    esac
done
old=$(realpath "$1"); new=$(realpath "$2"); shift 2
sizes=("$@"); ((${#sizes[@]})) || sizes=(4 40 400)
work=${TB_COMPARE_WORK:-/tmp/tb-compare}
mkdir -p "$work/app/config"
cp "$root/config/default" "$work/app/config/default"
rm -f "$work/app/tarnbrook.ini"
((ductRuns == 0)) || printf '[Settings]\r\nDuctRuns=1\r\nPIDVersion=09.00\r\n' >"$work/app/tarnbrook.ini"
status=0
((${#configs[@]})) || configs=("")
for config in "${configs[@]}"; do
[[ -z "$config" ]] || echo "configuration $config:"
for n in "${sizes[@]}"; do
    plant="$work/plant-$n"
    [[ -f "$plant/SmartPlantv4.ini" ]] || "$new/tarnbrook-sampleplant" --out "$plant" --drawings "$n" >/dev/null
    for side in old new; do
        build=$old; [[ $side == new ]] && build=$new
        run="$work/run-$n-$side"
        rm -rf "$run"; mkdir -p "$run/home" "$run/tmp" "$run/csv"
        HOME="$run/home" XDG_CONFIG_HOME="$run/home/.config" TEMP="$run/tmp" TARNBROOK_HOME="$work/app" \
            "$build/tarnbrook" /output "$run/x.mdb" /site "$plant/SmartPlantv4.ini" /plant PlantA \
            ${config:+/config "$config"} >"$run/out.txt" 2>&1 ||
            { echo "$n drawings: the $side build failed (see $run/out.txt)"; status=1; continue 2; }
        mdb-schema "$run/x.mdb" >"$run/csv/schema.sql"
        mdb-tables -1 "$run/x.mdb" | while IFS= read -r t; do
            [[ -z "$t" || "$t" == _Info ]] || mdb-export "$run/x.mdb" "$t" >"$run/csv/$t.csv"
        done
    done
    if diff -rq "$work/run-$n-old/csv" "$work/run-$n-new/csv" >/dev/null; then
        echo "$n drawings: $(($(ls "$work/run-$n-new/csv" | wc -l) - 1)) tables and the schema identical"
    else
        echo "$n drawings: DIFFERENT:"; diff -rq "$work/run-$n-old/csv" "$work/run-$n-new/csv" | sed 's/^/  /'
        status=1
    fi
done
done
exit $status
