#!/usr/bin/env bash
# Makes the wheel of the Python client, build/halvane-<version>-py3-none-any.whl, without network.
set -euo pipefail
cd -P -- "$(dirname -- "$0")/.."

# In a copy: building leaves folders beside the sources.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp -r clients/python "$work/python"
mkdir -p build
rm -f build/halvane-*.whl
/usr/bin/python3 -m build --no-isolation --wheel --outdir build "$work/python" >"$work/log" 2>&1 || {
    cat "$work/log" >&2
    exit 1
}
echo "Made $(echo build/halvane-*.whl)"
