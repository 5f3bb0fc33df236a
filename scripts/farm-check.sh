#!/usr/bin/env bash
# Renders a four-frame sequence of the sample crowd on a one-node Slurm cluster started on this
# machine, as a render farm would (a Slurm array job, one frame per task), and checks that every
# frame arrived. Not part of the test suite: it needs root, installs Debian's slurm-wlm and
# munge, and starts their daemons for the length of the check. See docs/farm.md.
# Usage: scripts/farm-check.sh [BUILD_DIR]   (default: build, made by scripts/demo.sh)
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
build=${1:-build}
hordera="$root/$build/hordera"
[ "$(id -u)" -eq 0 ] || { echo "error: the farm check starts daemons and needs root" >&2; exit 1; }
[ -x "$hordera" ] || { echo "error: $hordera is missing: build first (scripts/demo.sh)" >&2; exit 1; }

source scripts/deps.sh
hordera_packages=(slurm-wlm munge)
hordera_install_deps

work=$(mktemp -d /tmp/hordera-farm.XXXXXX)
started=()
cleanup() {
  scontrol shutdown > /dev/null 2>&1 || true
  for pid in "${started[@]}"; do kill "$pid" 2> /dev/null || true; done
}
trap cleanup EXIT

# munge: the cluster's authentication, with a key of its own for this check.
mkdir -p /etc/munge /var/lib/munge /var/log/munge /run/munge
[ -s /etc/munge/munge.key ] || dd if=/dev/urandom of=/etc/munge/munge.key bs=1024 count=1 2> /dev/null
chown -R munge:munge /etc/munge /var/lib/munge /var/log/munge /run/munge
chmod 0400 /etc/munge/munge.key
if ! munge -n > /dev/null 2>&1; then
  runuser -u munge -- munged --force
  sleep 1
  started+=("$(cat /run/munge/munged.pid)")
fi

# One node, this machine, with every core; no cgroups or accounting, which a container may lack.
node=$(hostname -s)
mkdir -p /etc/slurm "$work/spool/slurmd" "$work/spool/slurmctld"
cat > /etc/slurm/slurm.conf << CONF
ClusterName=hordera-check
SlurmctldHost=$node
SlurmUser=root
AuthType=auth/munge
ProctrackType=proctrack/linuxproc
TaskPlugin=task/none
JobAcctGatherType=jobacct_gather/none
AccountingStorageType=accounting_storage/none
SelectType=select/cons_tres
SelectTypeParameters=CR_Core
ReturnToService=2
MpiDefault=none
StateSaveLocation=$work/spool/slurmctld
SlurmdSpoolDir=$work/spool/slurmd
SlurmctldPidFile=$work/slurmctld.pid
SlurmdPidFile=$work/slurmd.pid
SlurmctldLogFile=$work/slurmctld.log
SlurmdLogFile=$work/slurmd.log
NodeName=$node CPUs=$(nproc) State=UNKNOWN
PartitionName=render Nodes=ALL Default=YES MaxTime=INFINITE State=UP
CONF
slurmctld -c
slurmd
sleep 2
started+=("$(cat "$work/slurmctld.pid")" "$(cat "$work/slurmd.pid")")
for _ in $(seq 30); do
  sinfo -h -o '%T' | grep -qE 'idle|mixed' && break
  sleep 1
done
sinfo -h -o '%T' | grep -qE 'idle|mixed' ||
  { cat "$work/slurmctld.log" "$work/slurmd.log" >&2; echo "error: the Slurm node never came up" >&2; exit 1; }

# The sample crowd, and one array task per frame.
crowd="$work/crowd"
"$hordera" example "$crowd" > /dev/null || { echo "error: cannot make the sample crowd" >&2; exit 1; }
mapfile -t scenes < <(find "$crowd" -maxdepth 2 -name '*.mi' | sort -V)
[ ${#scenes[@]} -ge 4 ] || { echo "error: the sample crowd has fewer than four scene files" >&2; exit 1; }
mkdir -p "$work/frames"
printf '%s\n' "${scenes[@]:0:4}" > "$work/scenes.txt"
cat > "$work/render.sbatch" << JOB
#!/usr/bin/env bash
#SBATCH --job-name=hordera-render
#SBATCH --array=1-4
#SBATCH --output=$work/task-%a.log
scene=\$(sed -n "\${SLURM_ARRAY_TASK_ID}p" "$work/scenes.txt")
exec "$hordera" render "\$scene" --frames "\$SLURM_ARRAY_TASK_ID" -o "$work/frames/frame.%04d.png" \
  --width 320 --height 180 --spp 1 --quiet
JOB
echo "submitting a four-task array job"
sbatch --wait "$work/render.sbatch" || true

missing=0
for frame in 1 2 3 4; do
  file=$(printf '%s/frames/frame.%04d.png' "$work" "$frame")
  if [ -s "$file" ] && [ "$(head -c 8 "$file" | od -An -tx1 | tr -d ' \n')" = 89504e470d0a1a0a ]; then
    echo "frame $frame arrived: $file"
  else
    echo "error: frame $frame did not arrive (log: $work/task-$frame.log)" >&2
    missing=$((missing + 1))
  fi
done
[ $missing -eq 0 ] || exit 1
echo "farm check passed: every frame of the sequence arrived"
