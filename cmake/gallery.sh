#!/bin/sh
# Runs the example models, each with its table of inputs if there is one beside it, and puts their replays on one page.
#
#   gallery.sh ZQSIM SCRATCH_FOLDER PAGE
set -eu

zqsim=$1
scratch=$2
page=$3
models=examples/models

# model, time (s), other options | what one sees
runs="
grasp           8    --interpolation linear | Motors have a gripper put a block on a brick
door            9 | A latch yields to the handle, and the door swings
tableTop        5    --dt 0.0005 | Things on a table are pushed, roll and fall
stack           4    --dt 0.0001 | Ten cubes stand on each other until one is pushed
slope           4    --interpolation linear | Blocks stick or slide, by the slope and their friction
bouncingBall    3    --dt 0.00005 --integrator rk4 | Each bounce loses what the surfaces tell
mobileBase      6    --dt 0.0005 | Four wheels roll and slip under an arm
gripper         6    --dt 0.0002 | Fingers lift a wooden block
loader          6    --dt 0.0005 | Cylinders lift a boom and tip its bucket through linkages
puma560         5 | An arm falls against the friction of its drives
twoArms         6 | A carriage with two arms, of which one holds a tool
planarTwoLink   6 | Two rods swing, up to the limits of their joints
pendulum        6    --joints 2.5 --integrator midpoint | A midpoint rule keeps the energy
minimal         6    --integrator midpoint | One rod: the smallest document of an arm
quadruped       0.8 | Pushed up, a free base leaps, and its legs swing
freeChain       1    --integrator midpoint | Five links drift and tumble as they fall
"

for model in "$models"/*.xml; do
   name=$(basename "$model" .xml)
   case "$runs" in *"
$name "*) ;; *) echo "The gallery lacks $name" >&2; exit 1 ;; esac
done

mkdir -p "$scratch"
set --
while IFS='|' read -r run about; do
   [ -n "$run" ] || continue
   read -r model time options <<RUN
$run
RUN
   [ ! -e "$models/$model.csv" ] || options="$options --inputs $models/$model.csv"
   replay="$scratch/$model.html"
   # shellcheck disable=SC2086 # options are words
   "$zqsim" run "$models/$model.xml" --time "$time" $options --replay "$replay" \
      >"$scratch/$model.txt" 2>&1 || { cat "$scratch/$model.txt" >&2; exit 1; }
   set -- "$@" "$replay" "${about# }"
done <<RUNS
$runs
RUNS

node apps/replay/page/gallery.mjs "$page" "zqManipulator: example models" "$@"
