#!/usr/bin/env bash
# Builds the libraries that vexil and its tests need, for Windows x86-64, from Debian's source packages.
#
# Usage: windows/build-dependencies.sh FOLDER
#
# Each library is built once and gets a stamp; with a matching stamp it is not built again. FOLDER can be kept, but not
# moved: wx-config and the files of pkg-config contain its path. All DLLs are in FOLDER/bin, also those of the compiler.
# Needs the package groups `build` and `windows` of scripts/packages.sh.
set -euo pipefail

here=$(dirname -- "$(realpath -- "${BASH_SOURCE[0]}")")
deps=$(realpath -m -- "${1:?usage: build-dependencies.sh FOLDER}")
readonly here deps work=$deps/work host=x86_64-w64-mingw32 suite=bookworm
jobs=$(nproc)

# No flags of the environment, and no libraries of this machine.
unset CC CXX CPP LD AR CFLAGS CXXFLAGS CPPFLAGS LDFLAGS CMAKE_PREFIX_PATH PKG_CONFIG_PATH CROSS_COMPILE

# --- Sources ---

# Calls apt-get with Debian's source packages enabled, and with its own state.
apt_of_sources() {
    apt-get -o Dir::Etc::sourcelist=/dev/null -o Dir::Etc::sourceparts="$work/apt/sources.d" \
        -o Dir::State::lists="$work/apt/lists" -o Dir::Cache="$work/apt/cache" -o APT::Sandbox::User="$(id -un)" "$@"
}

update_sources() {
    [[ ! -e $work/apt/ready ]] || return 0
    mkdir -p "$work"/apt/{sources.d,lists/partial,cache/archives/partial}
    if [[ -f /etc/apt/sources.list.d/debian.sources ]]; then
        sed -E 's/^Types:.*/Types: deb-src/' /etc/apt/sources.list.d/debian.sources \
            >"$work/apt/sources.d/debian.sources"
    else
        sed -nE 's/^deb(-src)? /deb-src /p' /etc/apt/sources.list | sort -u >"$work/apt/sources.d/debian.list"
    fi
    apt_of_sources update
    : >"$work/apt/ready"
}

# fetch PACKAGE: unpacks it, with Debian's patches, into $source.
fetch() {
    source=$work/src/$1/tree
    rm -rf "$work/src/$1"
    mkdir -p "$work/src/$1"
    update_sources
    # Mirrors may lack the sources of the security suite.
    (
        cd "$work/src/$1"
        apt_of_sources source --download-only "$1/$suite" || apt_of_sources source --download-only "$1"
        dpkg-source --no-check -x ./*.dsc tree
    )
}

# --- Recipes: build_NAME ---

# with_cmake NAME SOURCE ARGUMENT...
with_cmake() {
    cmake -S "$2" -B "$work/build/$1" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$here/toolchain.cmake" \
        -DVEXIL_WINDOWS_DEPS="$deps" -DCMAKE_INSTALL_PREFIX="$deps" -DCMAKE_INSTALL_LIBDIR=lib \
        -DCMAKE_BUILD_TYPE=Release "${@:3}"
    cmake --build "$work/build/$1" -j"$jobs"
    cmake --install "$work/build/$1"
}

# OpenSSL would look for its configuration file on drive Z, which is the root of the Linux machine under Wine: give it a
# folder that does not exist. OpenSSL's own installation also compiles everything a second time for static libraries.
build_openssl() {
    fetch openssl
    mkdir -p "$work/build/openssl"
    cd "$work/build/openssl"
    perl "$source/Configure" mingw64 shared --cross-compile-prefix="$host-" --prefix="$deps" --libdir=lib \
        --openssldir=/no-such-folder/ssl no-tests no-module no-legacy
    make -j"$jobs" build_generated
    make -j"$jobs" libcrypto-3-x64.dll libssl-3-x64.dll
    mkdir -p "$deps"/{bin,lib,include/openssl}
    cp "$source"/include/openssl/*.h include/openssl/*.h "$deps/include/openssl/"
    cp libcrypto-3-x64.dll libssl-3-x64.dll "$deps/bin/"
    cp libcrypto.dll.a libssl.dll.a "$deps/lib/"
}

# Debian's patches compare XML_DTD with 1, but CMake's template defines it without a value.
build_expat() {
    fetch expat
    sed -i -E 's/^(#cmakedefine XML_(DTD|NS|GE))[ \t]*$/\1 1/' "$source/expat/expat_config.h.cmake"
    with_cmake expat "$source/expat" -DEXPAT_SHARED_LIBS=OFF -DEXPAT_BUILD_TOOLS=OFF -DEXPAT_BUILD_EXAMPLES=OFF \
        -DEXPAT_BUILD_TESTS=OFF -DEXPAT_BUILD_DOCS=OFF
}

# A separate DLL: an application that also uses libcurl itself must share it, as it does on Linux. By default it would
# trust the certificates in /etc/ssl/certs, where this machine has them: on Windows any user may make that folder on
# drive C.
build_curl() {
    fetch curl
    local protocol
    local -a without=()
    for protocol in DICT GOPHER IMAP LDAP LDAPS MQTT POP3 RTSP SMB TELNET TFTP; do
        without+=("-DCURL_DISABLE_$protocol=ON")
    done
    with_cmake curl "$source" -DBUILD_SHARED_LIBS=ON -DBUILD_CURL_EXE=OFF -DBUILD_TESTING=OFF -DENABLE_MANUAL=OFF \
        -DCURL_USE_OPENSSL=ON -DCURL_WINDOWS_SSPI=OFF -DENABLE_IPV6=ON -DENABLE_THREADED_RESOLVER=ON \
        -DENABLE_UNICODE=OFF -DCURL_ZLIB=ON -DCURL_BROTLI=OFF -DCURL_ZSTD=OFF -DUSE_NGHTTP2=OFF -DUSE_LIBIDN2=OFF \
        -DUSE_WIN32_IDN=OFF -DCURL_USE_LIBSSH2=OFF -DCURL_USE_LIBSSH=OFF -DCURL_USE_LIBPSL=OFF -DCURL_USE_GSSAPI=OFF \
        -DCURL_CA_BUNDLE=none -DCURL_CA_PATH=none "${without[@]}"
}

# Debian's source package contains PCRE, but neither expat nor zlib.
build_wx() {
    fetch wxwidgets3.2
    mkdir -p "$work/build/wx"
    cd "$work/build/wx"
    "$source/configure" --host="$host" --build=x86_64-linux-gnu --prefix="$deps" \
        CC="$host-gcc-posix" CXX="$host-g++-posix" CPPFLAGS="-I$deps/include" LDFLAGS="-L$deps/lib" \
        --with-msw --disable-gui --disable-shared --with-expat=sys --with-zlib=sys --with-regex=builtin \
        --without-liblzma --disable-webrequest --disable-debug_info --disable-tests
    make -j"$jobs"
    make install
    # wx/init.h includes it; an installation without windows leaves it out.
    cp "$source/include/wx/msw/init.h" "$deps/include/wx-3.2/wx/msw/"
}

build_googletest() {
    with_cmake googletest /usr/src/googletest -DBUILD_SHARED_LIBS=OFF -DCMAKE_CXX_STANDARD=20
}

# Header-only libraries are copied from this machine.
build_headers() {
    mkdir -p "$deps/include" "$deps/share/cmake"
    cp -r /usr/include/asio /usr/include/asio.hpp /usr/include/CLI /usr/include/nlohmann "$deps/include/"
    cp -r /usr/share/cmake/CLI11 "$deps/share/cmake/"
}

build_runtime() {
    local dll
    mkdir -p "$deps/bin"
    for dll in libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll; do
        cp "$("$host-g++-posix" -print-file-name="$dll")" "$deps/bin/"
        "$host-strip" --strip-debug "$deps/bin/$dll"
    done
}

# --- What is missing ---

# A checksum of everything that the result of a recipe depends on. The suite stands for the versions of its packages.
stamp_of() {
    {
        declare -f "build_$1" fetch
        # Only recipes that use with_cmake depend on the toolchain file.
        if declare -f "build_$1" | grep -q with_cmake; then
            declare -f with_cmake
            grep -v '^#' "$here/toolchain.cmake"
        fi
        "$host-g++-posix" -dumpfullversion
        printf '%s\n' "$deps" "$suite"
    } | sha256sum
}

build_if_missing() {
    local stamp start=$SECONDS log=$work/log/$1.log status=0
    stamp=$(stamp_of "$1")
    [[ $(cat "$deps/stamps/$1" 2>/dev/null) != "$stamp" ]] || return 0
    printf 'Building for Windows: %s\n' "$1" >&2
    rm -rf "$work/build/$1"
    # Not as a condition: `set -e` would have no effect inside.
    set +e
    (
        set -e
        "build_$1"
    ) >"$log" 2>&1 </dev/null
    status=$?
    set -e
    if [[ $status != 0 ]]; then
        tail -n 40 "$log" >&2
        printf 'build-dependencies.sh: could not build %s, see %s\n' "$1" "$log" >&2
        exit 1
    fi
    printf '%s\n' "$stamp" >"$deps/stamps/$1"
    rm -rf "$work/build/$1" "$work/src"
    printf 'Built %s in %d s\n' "$1" $((SECONDS - start)) >&2
}

mkdir -p "$deps/stamps" "$work/log"
# If two run at once, the second one waits and finds the work done.
exec 9>"$deps/lock"
flock 9
for name in openssl expat curl wx googletest headers runtime; do
    build_if_missing "$name"
done
