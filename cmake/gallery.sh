#!/bin/sh
# Runs the example models, each with its table of inputs if there is one beside it, and puts their replays on one page.
#
#   gallery.sh ZQSIM SCRATCH_FOLDER PAGE
set -eu

zqsim=$1
scratch=$2
page=$3
models=examples/models

# model, time (s), other options
runs="
grasp           8    --interpolation linear
door            9
tableTop        5    --dt 0.0005
stack           4    --dt 0.0001
slope           4    --interpolation linear
bouncingBall    3    --dt 0.00005 --integrator rk4
mobileBase      6    --dt 0.0005
gripper         6    --dt 0.0002
puma560         5
twoArms         6
planarTwoLink   6
pendulum        6    --joints 2.5 --integrator midpoint
minimal         6    --integrator midpoint
quadruped       1.5
freeChain       1    --integrator midpoint
"

for model in "$models"/*.xml; do
   name=$(basename "$model" .xml)
   case "$runs" in *"
$name "*) ;; *) echo "The gallery lacks $name" >&2; exit 1 ;; esac
done

mkdir -p "$scratch"
replays=""
while read -r model time options; do
   [ -n "$model" ] || continue
   [ ! -e "$models/$model.csv" ] || options="$options --inputs $models/$model.csv"
   replay="$scratch/$model.html"
   # shellcheck disable=SC2086 # options are words
   "$zqsim" run "$models/$model.xml" --time "$time" $options --replay "$replay" \
      >"$scratch/$model.txt" 2>&1 || { cat "$scratch/$model.txt" >&2; exit 1; }
   replays="$replays $replay"
done <<RUNS
$runs
RUNS

# shellcheck disable=SC2086 # names without blanks
node apps/replay/page/gallery.mjs "$page" $replays
