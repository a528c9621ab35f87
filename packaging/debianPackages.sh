# Sourced by ./run and ./test: installs what the project needs on Debian 12. Prints nothing and asks
# nothing when all of it is there already.

# Builds and runs the console.
run_packages="g++ cmake ninja-build pkg-config
    libfreetype-dev libfuse3-dev fuse3 libpng-dev libturbojpeg0-dev libdrm-dev
    libxcb1-dev libxcb-shm0-dev libwayland-dev libwayland-bin wayland-protocols fonts-dejavu-core"

# Builds and runs the unit and structure tests besides.
quick_test_packages="libgtest-dev libgmock-dev libx11-dev libxcb-record0-dev python3 curl"

# Builds and runs all other tests besides. Mesa is what the renderer gl is tested with.
test_packages="libegl1 libgles2 libgl1-mesa-dri xvfb socat weston cage xwayland pv rsync zsh fish
    mandoc groff-base clang clang-tidy libclang-rt-14-dev qemu-system-x86
    systemd"

# install_packages PACKAGE...: returns non-zero, after saying why, if they cannot be had.
install_packages() {
    missing=""
    native=$(dpkg --print-architecture)
    for package in "$@"; do
        # One line for each architecture that it is known for.
        dpkg-query -W -f '${Architecture} ${db:Status-Status}\n' "$package" 2>/dev/null |
            grep -qxE "($native|all) installed" || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0

    as_root=""
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null 2>&1; then
            echo "These packages are missing, and neither root nor sudo is at hand:$missing" >&2
            return 1
        fi
        as_root=sudo
    fi
    echo "Installing:$missing"
    # An index that cannot be fetched may be one that none of them comes from.
    $as_root apt-get -qq update || echo "Going on with the package lists that are there." >&2
    # shellcheck disable=SC2086 # a list of words
    $as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get -qq install -y --no-install-recommends $missing >/dev/null
}
