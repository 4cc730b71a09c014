#!/bin/sh
# Installs the Debian packages that a build needs, and those given as arguments. Asks for nothing
# and does nothing when all are there.
set -eu

required="g++ cmake ninja-build pkg-config libexpat1-dev libboost-dev libeigen3-dev libqhull-dev
          libgtest-dev libcli11-dev nlohmann-json3-dev libassimp-dev libxml2-utils"

# Wherever npm comes from, it brings node.
if ! command -v npm >/dev/null 2>&1; then
   required="$required nodejs npm"
fi

if ! command -v dpkg-query >/dev/null 2>&1; then
   echo "Not a Debian system. Please install by other means what is missing of:" $required "$@" >&2
   exit 0
fi

missing=""
for package in $required "$@"; do
   if ! dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed; then
      missing="$missing $package"
   fi
done

if [ -z "$missing" ]; then
   exit 0
fi

asRoot=""
if [ "$(id -u)" -ne 0 ]; then
   if ! command -v sudo >/dev/null 2>&1; then
      echo "These packages are missing, and neither root nor sudo is at hand:$missing" >&2
      exit 1
   fi
   asRoot="sudo"
fi

echo "Installing$missing"
$asRoot env DEBIAN_FRONTEND=noninteractive apt-get update -qq </dev/null
$asRoot env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
   $missing </dev/null
