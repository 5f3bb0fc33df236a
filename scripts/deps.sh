#!/usr/bin/env bash
# Installs the Debian packages Hordera builds with, when any is missing. Sourced by the other
# scripts; needs root (or sudo) only when something has to be installed.
hordera_packages=(
  g++ cmake make ccache
  zlib1g-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libcli11-dev
  libdeflate-dev libfast-float-dev
  libembree-dev libpng-dev libtinygltf-dev nlohmann-json3-dev
)

hordera_install_deps() {
  local missing=()
  for package in "${hordera_packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "Installing: ${missing[*]}"
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq || { echo "error: apt-get update failed" >&2; return 1; }
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" || { echo "error: could not install ${missing[*]}" >&2; return 1; }
}
