#!/usr/bin/env bash
# Installs everything the build, the tests and the benchmarks need, from Debian's packages only.
# Safe to run again: packages already present are left alone and apt is not touched at all then.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  protobuf-compiler libprotobuf-dev zlib1g-dev
  libspdlog-dev libfmt-dev
  libplist-dev libplist-utils
  librtmidi-dev libasound2-dev libjack-jackd2-dev jackd2
  libcli11-dev nlohmann-json3-dev
  libatspi2.0-dev libdbus-1-dev libxcb1-dev libxcb-xtest0-dev libxcb-randr0-dev
  libgtk-3-dev xvfb at-spi2-core dbus-daemon dbus-bin
  libgtest-dev libgmock-dev libbenchmark-dev
  clang libclang-rt-dev
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
# jackd2 asks whether to enable realtime scheduling; answer for it.
echo "jackd2 jackd/tweak_rt_limits boolean false" | $sudo debconf-set-selections
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
