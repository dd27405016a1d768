#!/usr/bin/env bash
# Installs the Debian packages the build needs, if any is missing.
set -euo pipefail

packages=(cmake ninja-build g++ rapidjson-dev libgtest-dev libbenchmark-dev libcli11-dev libabsl-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo=""
  if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
  echo "Installing: ${missing[*]}"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}" >/dev/null
fi
