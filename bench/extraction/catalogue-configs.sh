#!/usr/bin/env bash
# Writes attribute configurations that together ask for every key a plant offers, for comparing
# extracts beyond the shipped configuration: categories are cut into runs of at most 229 keys (a
# table holds 255 columns), once with AllLoops=0 and once with AllLoops=1. DuctRuns keys are among
# them; duct runs themselves are a program setting: compare.sh --duct-runs.
#
#   bench/extraction/catalogue-configs.sh BUILD PLANT_FOLDER OUT_FOLDER
#
# Prints the paths of the files written.
set -euo pipefail
build=$(realpath "$1"); plant=$(realpath "$2"); out=$3
mkdir -p "$out"
printf '[OPCs]\r\nT_CaseProcess.ProcessDesign_Max_Pressure_Piperun=\r\n' >"$out/cases.ini"
# The catalogue with duct runs on, so that DuctRuns keys are asked for too.
mkdir -p "$out/app"
printf '[Settings]\r\nDuctRuns=1\r\nPIDVersion=09.00\r\n' >"$out/app/tarnbrook.ini"
TARNBROOK_HOME="$out/app" "$build/tarnbrook-attributes" --site "$plant/SmartPlantv4.ini" --plant PlantA --keys --config "$out/cases.ini" >"$out/keys.txt"
for loops in 0 1; do
    awk -v out="$out" -v loops="$loops" -v limit=229 '
        function start(   f) { f = out "/catalogue-" loops "-" (++files) ".ini"; printf "[General]\r\nAllLoops=%s\r\n", loops > f
                               return f }
        /^\[/ { category = substr($0, 2, index($0, "]") - 2); count = 0; if (!file) file = start(); part = 0; next }
        NF { if (count == limit) { file = start(); count = 0; part = 1 }
             if (count == 0 || part) { printf "[%s]\r\n", category > file; part = 0 }
             printf "%s=\r\n", $0 > file; count++ }
        END { for (i = 1; i <= files; i++) print out "/catalogue-" loops "-" i ".ini" }' "$out/keys.txt"
done
