# Sourced by the scripts that build a library for Windows from Debian's source package. The source is
# fetched with package lists of its own, made from the system's entries, which stay as they are.
# They set `library`, its name, `package`, whose version counts, and `proof`, files that are there
# once it is built, and have a function `fetch_and_build`, which puts the library into $work/built.

deps=${HALVANE_DEPS:-$HOME/.cache/halvane/windows}

fail() {
    echo "build-$library-windows: $*" >&2
    exit 1
}

# Source entries for every binary one, in whichever of the two formats it stands.
derive_sources() {
    eval "$(apt-config shell list Dir::Etc::sourcelist/f parts Dir::Etc::sourceparts/d)"
    mkdir -p "$work/parts" "$work/lists/partial"
    for file in "$list" "$parts"*.list; do
        [ ! -f "$file" ] || sed -n 's/^[[:blank:]]*deb[[:blank:]]/deb-src /p' "$file"
    done | sort -u > "$work/sources.list"
    for file in "$parts"*.sources; do
        [ ! -f "$file" ] || sed 's/^Types:.*/Types: deb-src/' "$file" > "$work/parts/${file##*/}"
    done
}

own_apt_get() {
    apt-get -q -o Dir::Etc::SourceList="$work/sources.list" -o Dir::Etc::SourceParts="$work/parts" \
        -o Dir::State::Lists="$work/lists" -o Dir::Cache::pkgcache= -o Dir::Cache::srcpkgcache= \
        -o APT::Sandbox::User="$(id -un)" "$@"
}

# build_once TOOL...: once per version of the package that this Debian offers, with these tools; the
# result is $deps/$library.
build_once() {
    version=$(LC_ALL=C apt-cache policy "$package" | sed -n 's/^ *Candidate: \([^(]*\)$/\1/p')
    [ -n "$version" ] || [ ! -f "$deps/$library/$proof" ] || exit 0 # what is there will do
    [ -n "$version" ] || fail "the package lists know no $package; apt-get update may help"
    if [ ! -f "$deps/$library-$version/$proof" ]; then
        for tool; do
            command -v "$tool" > /dev/null || fail "needs $tool"
        done
        log=$deps/$library-$version.log
        work=$deps/work-$$
        mkdir -p "$work/source"
        trap 'rm -rf "$work"' EXIT
        trap 'exit 1' INT TERM
        echo "Building $library $version for Windows (about a minute); details in $log"
        (derive_sources && { own_apt_get update || true; } && # an entry without sources is no obstacle
            cd "$work/source" && fetch_and_build) > "$log" 2>&1 ||
            fail "$library $version was not built; the reason is in $log"
        rm -rf "$deps/$library-$version"
        mv "$work/built" "$deps/$library-$version"
    fi
    ln -sfn "$library-$version" "$deps/$library"
}
