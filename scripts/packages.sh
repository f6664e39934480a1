# Sourced by the scripts at the root: installs the Debian packages that are missing.

# require_packages PACKAGE=REASON... : one line per missing package, then one apt-get
# call. Ends the script with the command to run where it may not install.
require_packages() {
    local entry package missing=()
    for entry in "$@"; do
        package=${entry%%=*}
        if [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
            missing+=("$package")
            printf 'missing: %-28s %s\n' "$package" "${entry#*=}"
        fi
    done
    [ ${#missing[@]} -gt 0 ] || return 0

    local sudo=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            printf 'Not root and no sudo here. As root, run:\n  apt-get install --no-install-recommends %s\n' \
                "${missing[*]}" >&2
            exit 2
        fi
        sudo=(sudo)
    fi
    local log
    log=$(mktemp)
    printf 'installing %d package(s) with apt-get ...\n' "${#missing[@]}"
    if ! { "${sudo[@]}" apt-get update &&
        "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
        tail -n 20 "$log" >&2
        printf 'apt-get could not install: %s\n' "${missing[*]}" >&2
        rm -f "$log"
        exit 2
    fi
    rm -f "$log"
}

# What building the driver, the service and the panel takes.
BUILD_PACKAGES=(
    "g++=C++ compiler"
    "cmake=build description"
    "ninja-build=build tool"
    "libcli11-dev=command-line options of service and panel"
    "libspdlog-dev=log of the service"
    "libssl-dev=libcrypto, which judges certificates for the service"
    "nlohmann-json3-dev=JSON output of the panel"
    "libtomlplusplus-dev=project files of the panel"
)

# What the tests take besides.
TEST_PACKAGES=(
    "googletest=test framework, as source"
    "binutils=readelf and nm for the tests of the library file"
    "strace=test of the system calls in a cycle"
    "systemd=test of the service's unit"
    "clang-format-14=layout of the sources"
    "dpkg-dev=dependencies of the packages"
    "openssl=a certificate for the test of the service's unit"
    "file=CPack finds the programs in a package with it"
    "pkg-config=test of the development package"
    "util-linux=unshare and flock: a network of its own for port 9009"
    "iproute2=the loopback interface in that network"
    "python3=second opinion on the table of conversions"
    "locales=locales of other countries, made for the test that the driver works in them"
)

# What the suite for the panel's processor takes besides.
ARMV7_PACKAGES=(
    "g++-arm-linux-gnueabihf=cross compiler for ARMv7"
    "qemu-user=emulator that runs the ARM programs"
)
