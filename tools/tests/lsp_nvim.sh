#!/bin/sh
# Runs lsp_nvim.lua in headless Neovim against the jsoncodec at $1. Exits
# 77 (skipped) only when there is no nvim: scripts/test installs it.
#   lsp_nvim.sh JSONCODEC
set -u
here=$(cd "$(dirname "$0")" && pwd)
if ! command -v nvim >/dev/null 2>&1; then
    echo "skipped: nvim is not installed (scripts/test installs Debian's neovim)"
    exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
JSONCODEC=$1 DOCUMENT="$here/lsp_nvim_document.json" WORK="$work" \
    timeout 300 nvim --headless --clean -c "luafile $here/lsp_nvim.lua" </dev/null
