#!/bin/sh
# A campaign as a Slurm job array, a shard a task: in the project's folder, which all nodes see,
#
#   cmake --preset release && cmake --build --preset release --target campaign
#   sbatch --array=0-63 campaign/slurm.sh --random 32000
#   build/release/bin/campaign report --html report.html campaign-*.jsonl >report.md
#
# What is said behind the script goes to "campaign run". A task that was cut off goes on where it
# was when it is submitted again, with the same array.
#SBATCH --job-name=campaign
#SBATCH --output=campaign-%a.log
#SBATCH --open-mode=append
set -eu
: "${SLURM_ARRAY_TASK_ID:?is for sbatch --array=0-N}"
shards=$SLURM_ARRAY_TASK_COUNT
if [ "$((SLURM_ARRAY_TASK_MAX + 1))" -ne "$shards" ]; then
  echo "campaign: the array has to be all of 0 to N" >&2
  exit 2
fi
exec build/release/bin/campaign run --shard "$SLURM_ARRAY_TASK_ID/$shards" \
  --jobs "${SLURM_CPUS_ON_NODE:-1}" --results "campaign-$SLURM_ARRAY_TASK_ID.jsonl" "$@"
