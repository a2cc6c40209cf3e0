#!/usr/bin/env bash
# Installs the Debian packages modelr needs, only those that are missing.
set -euo pipefail

packages=(
  build-essential cmake
  tcl8.6 tcl8.6-dev tk8.6 tk8.6-dev tcllib
  libx11-dev libgl-dev libglu1-mesa-dev libglew-dev libode-dev
  googletest libgtest-dev
  libfreetype-dev libfontconfig-dev fonts-liberation libgl1-mesa-dri
  xvfb xauth python3 assimp-utils libassimp-dev zlib1g-dev gltfpack
)

missing=()
for p in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

echo "installing: ${missing[*]}"
sudo=""
[[ $(id -u) -eq 0 ]] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
