#!/usr/bin/env bash
# The extraction run on sample plants of several sizes: wall and processor seconds, peak memory and
# rows written, beside two floors measured in the same invocation: the copy of the three plant files
# the run reads (sqlite3 "VACUUM INTO" of TBSITE.db, PLANTAPID.db and PLANTAPIDD.db, timed together)
# and the sqlite3 shell's copy of the plant tables the run reads. Ends with the time of the largest
# plant against the time of the 200-drawing plant.
#
#   bench/extraction/run.sh [--build DIR] [--work DIR] [SIZES...]      (default sizes: 40 200 400 2000)
#
# Plants are generated into WORK/plant-<N> unless one is there already (default WORK: /tmp/tb-bench-extraction).
set -euo pipefail

root=$(cd "$(dirname "$0")/../.." && pwd)
build="$root/build"
work=/tmp/tb-bench-extraction
sizes=()
while (($#)); do
    case "$1" in
        --build) build=$(realpath "$2"); shift 2 ;;
        --work) work="$2"; shift 2 ;;
        -h|--help) sed -n '2,11p' "$0"; exit 0 ;;
        *) sizes+=("$1"); shift ;;
    esac
done
((${#sizes[@]})) || sizes=(40 200 400 2000)
for tool in "$build/tarnbrook" "$build/tarnbrook-sampleplant" /usr/bin/time /usr/bin/sqlite3; do
    [[ -x "$tool" ]] || { echo "missing: $tool (build the project, install the 'time' and 'sqlite3' packages)" >&2; exit 1; }
done
mkdir -p "$work/app/config"
cp "$root/config/default" "$work/app/config/default"

# Plant tables read by a run with the shipped configuration (P&ID data and its dictionary).
pid_tables="T_PipingComp T_InlineComp T_Instrument T_Nozzle T_Equipment T_Vessel T_Mechanical T_Exchanger
T_EquipmentOther T_EquipComponent T_Note T_OPC T_PlantItem T_History T_InstrLoop T_Package T_System
T_SafetyClass T_PlantItemGroupJoin T_ModelItem T_InstrFailMode T_InstrFunction T_PipingPoint T_PipeRun
T_Status T_Drawing T_Representation T_Revision T_LabelPersist T_Case T_CaseProcess T_CaseControl
T_Connector T_Symbol T_DrawingVersion T_SmartFrame T_PlantGroup T_Unit T_AreaBreakAttribute T_DuctRun
T_DuctingComp"
dict_tables="CODELISTS ENUMERATIONS ATTRIBUTES ITEMATTRIBUTIONS"

shell_copy() {  # plant folder -> seconds the sqlite3 shell needs for the copy
    local plant=$1 sql="PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF; ATTACH '$plant/PLANTAPID.db' AS p; ATTACH '$plant/PLANTAPIDD.db' AS d; BEGIN;"
    local t
    for t in $pid_tables; do sql+="CREATE TABLE $t AS SELECT * FROM p.$t;"; done
    for t in $dict_tables; do sql+="CREATE TABLE $t AS SELECT * FROM d.$t;"; done
    sql+="COMMIT;"
    rm -f "$work/shell.db"
    local start=$(date +%s.%N)
    sqlite3 "$work/shell.db" "$sql" >/dev/null
    awk -v a="$start" -v b="$(date +%s.%N)" 'BEGIN {print b - a}'
}

file_copy() {  # plant folder -> seconds for "VACUUM INTO" copies of the three files the run reads
    local plant=$1 f
    rm -rf "$work/file-copy"
    mkdir -p "$work/file-copy"
    local start=$(date +%s.%N)
    for f in TBSITE.db PLANTAPID.db PLANTAPIDD.db; do
        sqlite3 "$plant/$f" "VACUUM INTO '$work/file-copy/$f'"
    done
    awk -v a="$start" -v b="$(date +%s.%N)" 'BEGIN {print b - a}'
    rm -rf "$work/file-copy"
}

printf '| Drawings | Plant rows read | Rows written | Run wall | Run CPU | Peak memory | File copy | Run / file copy | Table copy | Run / table copy |\n'
printf '|---:|---:|---:|---:|---:|---:|---:|---:|---:|---:|\n'
declare -A walls
for n in "${sizes[@]}"; do
    plant="$work/plant-$n"
    [[ -f "$plant/SmartPlantv4.ini" ]] || "$build/tarnbrook-sampleplant" --out "$plant" --drawings "$n" >/dev/null
    files=$(file_copy "$plant")
    copy=$(shell_copy "$plant")
    plantRows=$(sqlite3 "$work/shell.db" "$(for t in $pid_tables $dict_tables; do printf 'SELECT count(*) FROM %s UNION ALL ' "$t"; done; echo 'SELECT 0')" | awk '{s += $1} END {print s}')
    rm -f "$work/out-$n.mdb"
    env -i PATH=/usr/bin:/bin HOME="$work" TARNBROOK_HOME="$work/app" XDG_CONFIG_HOME="$work/xdg" TEMP="$work" \
        /usr/bin/time -v -o "$work/time-$n.txt" "$build/tarnbrook" /output "$work/out-$n.mdb" \
        /site "$plant/SmartPlantv4.ini" /plant PlantA >"$work/run-$n.log" 2>&1 ||
        { echo "the run on $n drawings failed: see $work/run-$n.log" >&2; exit 1; }
    wall=$(awk -F': ' '/Elapsed \(wall clock\)/ {n=split($2,a,":"); s=0; for(i=1;i<=n;i++) s=s*60+a[i]; print s}' "$work/time-$n.txt")
    cpu=$(awk -F': ' '/User time/ {u=$2} /System time/ {s=$2} END {print u+s}' "$work/time-$n.txt")
    peak=$(awk -F': ' '/Maximum resident set size/ {printf "%.0f MB", $2/1024}' "$work/time-$n.txt")
    rows=$(sed -n 's/.*Tables written: [0-9]*, rows: \([0-9]*\).*/\1/p' "$work/run-$n.log" | tail -1)
    walls[$n]=$wall
    printf '| %s | %s | %s | %.1f s | %.1f s | %s | %.2f s | %.1f | %.2f s | %.1f |\n' "$n" "$plantRows" "$rows" "$wall" \
        "$cpu" "$peak" "$files" "$(awk -v a="$wall" -v b="$files" 'BEGIN {print a / b}')" \
        "$copy" "$(awk -v a="$wall" -v b="$copy" 'BEGIN {print a / b}')"
done
rm -f "$work/shell.db"
largest=$(printf "%s\n" "${sizes[@]}" | sort -n | tail -1)
if [[ -n "${walls[200]:-}" && "$largest" != 200 ]]; then
    printf '\n%s against 200 drawings: %.1f times the wall time\n' "$largest" \
        "$(awk -v a="${walls[$largest]}" -v b="${walls[200]}" 'BEGIN {print a / b}')"
fi
