#!/bin/sh
# usage: parallel.sh HOSTS TARGETS > reports.jsonl
# Reads a list of targets from several machines with GNU parallel, a part from each line of HOSTS: names that ssh knows,
# or ":" for this machine. Each needs kelvar and the configuration file. TARGETS is a relative path.
set -eu
hosts=$1 targets=$2
parts=$(grep -c . "$hosts")
# A target that fails is told in its report, not by the job.
seq "$parts" | parallel --sshloginfile "$hosts" --jobs 1 --line-buffer --transferfile "$targets" --cleanup \
  "kelvar --targets $targets --shard {}/$parts --format jsonl --quiet system firmware || [ \$? -eq 21 ]"
