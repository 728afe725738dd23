#!/usr/bin/env bash
# Rewrites the row counts table of README.md from what the generator writes now.
#   tools/sampleplant/readme-counts.sh [build folder]
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
build="${1:-build}"
program="$build/tarnbrook-sampleplant"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
"$program" --out "$work/tiny" --preset tiny --markdown > "$work/tiny.md"
"$program" --out "$work/default" --markdown > "$work/default.md"
"$program" --out "$work/large" --drawings 2000 --markdown > "$work/large.md"
awk -F' [|] ' '
    FNR == 1 { file++ }
    /^\| [A-Z0-9_]+\.db / {
        key = $1 " | " $2
        sub(/^\| /, "", key)
        count = $3
        sub(/ \|$/, "", count)
        if (file == 1) order[++n] = key
        value[file, key] = count
        total[file] += count
    }
    END {
        print "<!-- counts:begin -->"
        print "| File | Table | tiny | default (40) | 2,000 drawings |"
        print "|---|---|---:|---:|---:|"
        for (i = 1; i <= n; i++) {
            k = order[i]
            print "| " k " | " value[1, k] " | " value[2, k] " | " value[3, k] " |"
        }
        print "| all files | all tables | " total[1] " | " total[2] " | " total[3] " |"
        print "<!-- counts:end -->"
    }' "$work/tiny.md" "$work/default.md" "$work/large.md" > "$work/table.md"
awk -v table="$work/table.md" '
    /<!-- counts:begin -->/ { while ((getline line < table) > 0) print line; skip = 1; next }
    /<!-- counts:end -->/ { skip = 0; next }
    !skip { print }' "$here/README.md" > "$work/README.md"
cp "$work/README.md" "$here/README.md"
