# Sourced by ./run, ./test and ./bench. Installs the Debian packages that are missing and leaves the rest alone.

# install_packages PURPOSE...: every package of scripts/packages that has one of the purposes.
install_packages() {
    local purpose package missing=()
    for purpose in "$@"; do
        for package in $(awk -v want="$purpose" '$1 == want { for (i = 2; i <= NF; i++) print $i }' scripts/packages); do
            dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
        done
    done
    if [ ${#missing[@]} -eq 0 ]; then
        return 0
    fi
    if ! command -v apt-get >/dev/null; then
        echo "This script installs Debian packages, and this machine has no apt-get. Install the equivalents of: ${missing[*]}" >&2
        return 1
    fi
    echo "Installing ${#missing[@]} packages: ${missing[*]}"
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "Installing packages needs root and there is no sudo here. As root, run: apt-get install ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    "${as_root[@]}" apt-get update -qq &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null || {
        echo "The packages could not be installed. The lines above say why." >&2
        return 1
    }
}

# install_npm_packages FROM INTO: what FROM/package.json asks for, in the versions of its lock file, into the folder INTO.
install_npm_packages() {
    local from=$1 into=$2
    if [ -d "$into/node_modules" ] && cmp -s "$from/package-lock.json" "$into/package-lock.json"; then
        return 0
    fi
    command -v npm >/dev/null || install_packages npm || return 1
    rm -rf "$into" && mkdir -p "$into" && cp "$from/package.json" "$from/package-lock.json" "$into/" &&
        npm ci --prefix "$into" --ignore-scripts --no-audit --no-fund --loglevel=error >/dev/null || {
        rm -rf "$into"
        echo "npm could not install the packages of $from. The lines above say why." >&2
        return 1
    }
}

# configure PRESET [cmake arguments]: quiet when nothing changed.
configure() {
    local preset=$1 log
    shift
    log=$(mktemp)
    if ! cmake --preset "$preset" "$@" >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        echo "The build could not be configured. The lines above say why." >&2
        return 1
    fi
    rm -f "$log"
}
