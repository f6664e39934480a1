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
    "libsqlite3-dev=libsqlite3, which keeps settings and history for the service"
    "libboost-dev=HTTP parser of the service"
    "nlohmann-json3-dev=JSON of panel and service"
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
    "lintian=test of the packages: Debian's own look at them"
    "man-db=test of the manual pages"
    "bsdextrautils=col, for the same test"
    "dash=test of the scripts that a panel runs"
    "busybox=the same, with a small panel's shell"
    "pkg-config=test of the development package"
    "util-linux=unshare and flock: a network of its own for port 9009"
    "iproute2=the loopback interface in that network"
    "curl=test of the lines on the page of the control interface"
    "python3-yaml=test of the description of the control interface"
    "python3-prometheus-client=second opinion on the service's metrics"
    "python3=second opinion on the table of conversions"
    "locales=locales of other countries, made for the test that the driver works in them"
)

# What the nightly tests take besides.
NIGHTLY_PACKAGES=(
    "mmdebstrap=a small Debian to install the packages in"
    "systemd-container=boots it"
)

# What the suite for the panel's processor takes besides.
ARMV7_PACKAGES=(
    "g++-arm-linux-gnueabihf=cross compiler for ARMv7"
    "qemu-user=emulator that runs the ARM programs"
)

# What the other compilers take besides.
MATRIX_PACKAGES=(
    "clang=second compiler of the driver"
)
TOOLCHAINS=(g++-11 g++-12 clang++-13 clang++-14 clang++-15 clang++-16)
# compiler_packages COMPILER... : fills COMPILER_PACKAGES.
compiler_packages() {
    local compiler
    COMPILER_PACKAGES=()
    for compiler in "$@"; do
        COMPILER_PACKAGES+=("${compiler/clang++/clang}=one of the driver's compilers")
    done
}
