#!/usr/bin/env bash
# Shared helpers of the project's scripts; they source it. Sourcing it moves
# to the repository root, so the scripts work from any directory.
set -euo pipefail

repo_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$repo_root" || exit 1

# What building and testing need: compilers, cmake, jansson, GoogleTest,
# nm for inspecting the exported symbols, and python3-jsonschema, the
# independent validator the tests check the generated JSON Schemas with.
# shellcheck disable=SC2034 # used by the scripts that source this file
JSONCODEC_PACKAGES=(libjansson-dev pkg-config cmake g++ make libgtest-dev binutils python3-jsonschema)
# What the style check adds: clang-format 14, which holds every C and C++
# file to .clang-format.
# shellcheck disable=SC2034 # used by scripts/test
JSONCODEC_STYLE_PACKAGES=(clang-format-14)
# What the editor test adds: Neovim, whose built-in client drives
# jsoncodec lsp end to end.
# shellcheck disable=SC2034 # used by scripts/test
JSONCODEC_EDITOR_PACKAGES=(neovim)
# What fuzzing adds: clang 14 with its libFuzzer and sanitizer runtimes, and
# llvm-symbolizer for readable stack traces.
# shellcheck disable=SC2034 # used by scripts/fuzz
JSONCODEC_FUZZ_PACKAGES=(clang-14 libclang-rt-14-dev llvm-14)

# install_missing PACKAGE... - installs with apt-get only the Debian packages
# that are not installed yet; does nothing (and needs no privileges) when
# all of them are present.
install_missing() {
    local pkg missing=()
    for pkg in "$@"; do
        if [[ "$(dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null || true)" != "install ok installed" ]]; then
            missing+=("$pkg")
        fi
    done
    if ((${#missing[@]} == 0)); then
        return 0
    fi

    local -a as_root=()
    if ((EUID != 0)); then
        if command -v sudo >/dev/null 2>&1; then
            as_root=(sudo)
        else
            echo "error: missing packages ${missing[*]}, and neither root nor sudo is available to install them" >&2
            return 1
        fi
    fi
    echo "Installing missing packages: ${missing[*]}"
    "${as_root[@]}" apt-get update
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y --no-install-recommends "${missing[@]}"
}

# heading TEXT - a visible section title in the scripts' output.
heading() {
    printf '\n== %s ==\n' "$*"
}
