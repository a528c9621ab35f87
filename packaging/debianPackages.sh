# Sourced by ./run and ./test: installs what the project needs on Debian 12. Prints nothing and asks
# nothing when all of it is there already.

# Builds and runs the console.
run_packages="g++ cmake ninja-build pkg-config
    libfreetype-dev libegl-dev libgles-dev libegl1 libgles2 libgl1-mesa-dri
    libfuse3-dev fuse3 libxcb1-dev libxcb-shm0-dev libwayland-dev libwayland-bin wayland-protocols
    libdrm-dev libgbm-dev libpng-dev libturbojpeg0-dev fonts-dejavu-core"

# Builds and runs the unit and structure tests besides.
quick_test_packages="libgtest-dev libgmock-dev libx11-dev libxcb-record0-dev python3 curl"

# Builds and runs all other tests besides.
test_packages="xvfb socat weston cage xwayland pv rsync zsh fish mandoc groff-base
    clang libclang-rt-14-dev qemu-system-x86"

# install_packages PACKAGE...: returns non-zero, after saying why, if they cannot be had.
install_packages() {
    missing=""
    for package in "$@"; do
        case "$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null)" in
            "install ok installed") ;;
            *) missing="$missing $package" ;;
        esac
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
    # shellcheck disable=SC2086 # a list of words
    $as_root apt-get -qq update &&
        $as_root env DEBIAN_FRONTEND=noninteractive \
            apt-get -qq install -y --no-install-recommends $missing >/dev/null
}
