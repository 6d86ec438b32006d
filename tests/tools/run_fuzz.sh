#!/bin/bash
# run_fuzz.sh PROGRAM SOURCE FOLDER: runs a fuzz target for VEXA_FUZZ_SECONDS (60). It starts from the
# seeds beside its source and from what earlier runs found; an input that fails is kept in
# FOLDER/artifacts/NAME.
set -euo pipefail
program=$1 name=${1##*/} seeds=$2/corpus/${1##*/} dictionary=$2/${1##*/}.dict
corpus=$3/corpus/$name artifacts=$3/artifacts/$name
mkdir -p "$corpus" "$artifacts"

arguments=(-max_total_time="${VEXA_FUZZ_SECONDS:-60}" -timeout=10 -rss_limit_mb=2048
  -print_final_stats=1 -artifact_prefix="$artifacts/")
[[ ! -f $dictionary ]] || arguments+=(-dict="$dictionary")
arguments+=("$corpus")
[[ ! -d $seeds ]] || arguments+=("$seeds")
cd "$artifacts"
exec "$program" "${arguments[@]}"
