#!/usr/bin/env bash
# Puts what build/windows holds into build/Halvane-<version>-windows-x64.zip: the program, its settings,
# our component, the Python client, what there is to read, and the licences of all that is linked in.
set -euo pipefail
cd -P -- "$(dirname -- "$0")/.."

version=$(sed -n 's/^project(Halvane VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
name=Halvane-$version-windows-x64
deps=${HALVANE_DEPS:-$HOME/.cache/halvane/windows}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
folder=$work/$name

# Text files get the ends of lines that Windows expects.
put_text() { sed 's/$/\r/' "$1" >"$folder/$2"; }
put_program() { x86_64-w64-mingw32-strip -o "$folder/$2" "build/windows/bin/$1"; }
put_copyright() { put_text "/usr/share/doc/$1/copyright" "licences/$2"; }

mkdir -p "$folder"/{Configs,clients,docs,licences,paper-component}
put_program Halvane64.exe Halvane64.exe
put_program HalvaneDesk.exe HalvaneDesk.exe
put_program HalvaneDoctor.exe HalvaneDoctor.exe
put_program HalvanePair.exe HalvanePair.exe
put_program OVTradeAPI64.dll paper-component/OVTradeAPI64.dll
put_text app/README-windows.txt README.txt
put_text docs/operations.md docs/operations.md
put_text docs/paper.md docs/paper.md
put_text docs/protocol.md docs/protocol.md
put_text docs/feed.md docs/feed.md
cp -R clients/python "$folder/clients/"
find "$folder/clients" -depth \( -name '__pycache__' -o -name '*.pyc' -o -name '*.egg-info' -o -name build \
    -o -name dist -o -name '.*cache' \) -exec rm -rf {} +
put_text app/Configs/ZMQ.ini Configs/ZMQ.ini
put_text app/Configs/Access.ini Configs/Access.ini
put_text app/Configs/TradeApi.ini Configs/TradeApi.ini
put_text app/Configs/Feed.ini Configs/Feed.ini
put_text desk/Configs/Desk.ini Configs/Desk.ini
put_text SECURITY.md SECURITY.md
put_text LICENSE licences/Halvane.txt
put_text "$deps/libzmq/share/zmq/COPYING.LESSER.txt" licences/libzmq.txt
put_text "$deps/libzmq/share/zmq/copyright" licences/libzmq-parts.txt
put_text "$deps/sqlite/copyright" licences/SQLite.txt
put_text /usr/share/common-licenses/GPL-3 licences/GPL-3.txt
put_copyright rapidjson-dev RapidJSON.txt
put_copyright libutfcpp-dev UTF8-CPP.txt
put_copyright libboost-dev Boost.txt
put_text desk/page/vendor/uPlot.LICENSE.txt licences/uPlot.txt
put_copyright mingw-w64-x86-64-dev mingw-w64-and-winpthreads.txt
put_copyright gcc-mingw-w64-x86-64-posix GCC-runtime-library-exception.txt

# The wheel, which cmake/package-python.sh has made, and what its users read.
cp build/halvane-*.whl "$folder/clients"
put_text docs/python.md docs/python.md
put_text docs/desk.md docs/desk.md
cp -R docs/protocol "$folder/docs"

rm -f "build/$name.zip"
(cd "$work" && zip -q -X -r - "$name") >"build/$name.zip"
echo "Made build/$name.zip"
