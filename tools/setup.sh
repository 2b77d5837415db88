#!/usr/bin/env bash
# Prepares a Debian 12 machine to build, test and run BDX (run as root):
#   - host packages: mingw-w64 (posix threads), Wine, CMake, Ninja, ...
#   - third-party static libraries cross-built for Windows x64 from Debian
#     source packages, into ${BDX_DEPS:-/var/cache/bdx-deps}/prefix:
#     Oniguruma, libmpdec (from the python3.11 source), Lua 5.4, GoogleTest
#   - the project's own Wine prefix at <project root>/.wineprefix
# Every step is skipped when its result is already in place, so a re-run on a
# ready machine takes a few seconds. cmake/deps.cmake consumes the prefix.
set -euo pipefail

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
DEPS=${BDX_DEPS:-/var/cache/bdx-deps}
SRC=$DEPS/src
DL=$SRC/dl
BUILD=$DEPS/build
LOGS=$DEPS/logs
PREFIX=$DEPS/prefix
TOOLCHAIN=$ROOT/cmake/mingw-w64.cmake
WINEPREFIX_DIR=$ROOT/.wineprefix

CC=x86_64-w64-mingw32-gcc-posix
AR=x86_64-w64-mingw32-ar
RANLIB=x86_64-w64-mingw32-ranlib
JOBS=$(nproc 2>/dev/null || echo 2)

export DEBIAN_FRONTEND=noninteractive

APT_PKGS=(g++-mingw-w64-x86-64-posix wine wine64 cmake ninja-build tmux
          dpkg-dev googletest python3 ca-certificates)

# Recipe revisions: bump one to force a rebuild of that library.
ONIG_UPSTREAM=6.9.8    ONIG_RECIPE=1
LUA_UPSTREAM=5.4.4     LUA_RECIPE=1
MPDEC_UPSTREAM=2.5.1   MPDEC_RECIPE=1
PY_SRC_VERSION=3.11.2-6+deb12u8
GTEST_RECIPE=1

SRC_LIST=/etc/apt/sources.list.d/bdx-src.sources

say() { printf '[setup] %s\n' "$*"; }
die() { printf '[setup] ERROR: %s\n' "$*" >&2; exit 1; }

# run_logged LOG CMD...: append all output of CMD to LOG; on failure show its tail.
run_logged() {
    local log=$1; shift
    printf '\n$ %s\n' "$*" >>"$log"
    if ! "$@" >>"$log" 2>&1; then
        printf '[setup] FAILED: %s\n[setup] last lines of %s:\n' "$*" "$log" >&2
        tail -n 40 "$log" >&2
        exit 1
    fi
}

[[ $(id -u) -eq 0 ]] || die "run as root"

mkdir -p "$DL" "$BUILD" "$LOGS" "$PREFIX/include" "$PREFIX/lib"
exec 9>"$DEPS/.lock"
flock 9 || die "cannot lock $DEPS/.lock"

APT_UPDATED=0
apt_update() {
    if [[ $APT_UPDATED -eq 0 ]]; then
        say "apt-get update"
        run_logged "$LOGS/apt.log" apt-get update
        APT_UPDATED=1
    fi
}

# ---------------------------------------------------------------- deb-src
deb_src_configured() {
    [[ -f $SRC_LIST ]] && return 0
    local f
    for f in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
        [[ -f $f ]] || continue
        grep -Eqs '^[[:space:]]*deb-src[[:space:]].*[[:space:]]bookworm([[:space:]]|$)' "$f" && return 0
    done
    for f in /etc/apt/sources.list.d/*.sources; do
        [[ -f $f ]] || continue
        awk 'BEGIN { RS = "" }
             /(^|\n)Types:[^\n]*deb-src/ && /(^|\n)Suites:[^\n]*bookworm/ &&
             !/(^|\n)Enabled:[[:space:]]*no/ { found = 1 }
             END { exit !found }' "$f" && return 0
    done
    return 1
}

write_deb_src() {
    local base=/etc/apt/sources.list.d/debian.sources tmp
    tmp=$(mktemp)
    if [[ -f $base ]]; then
        # Same stanzas as the binary entries, with Types: deb-src.
        awk 'BEGIN { RS = "" }
             {
                 n = split($0, line, "\n"); out = ""; isdeb = 0
                 for (i = 1; i <= n; i++) {
                     l = line[i]
                     if (l ~ /^#/) continue
                     if (l ~ /^Types:/) {
                         if (l ~ /[[:space:]]deb([[:space:]]|$)/) isdeb = 1
                         l = "Types: deb-src"
                     }
                     out = out l "\n"
                 }
                 if (isdeb) printf "%s\n", out
             }' "$base" >"$tmp"
    fi
    if ! grep -q '^Types: deb-src' "$tmp"; then
        cat >"$tmp" <<'EOF'
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: bookworm bookworm-updates
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg

Types: deb-src
URIs: http://deb.debian.org/debian-security
Suites: bookworm-security
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
EOF
    fi
    install -m 0644 "$tmp" "$SRC_LIST"
    rm -f "$tmp"
}

if ! deb_src_configured; then
    say "adding deb-src entries ($SRC_LIST)"
    write_deb_src
    apt_update
fi

# ---------------------------------------------------------------- packages
declare -A PKG_VERSION=()
read_pkg_versions() {
    PKG_VERSION=()
    local name status version
    while read -r name status version; do
        [[ $status == installed ]] && PKG_VERSION[$name]=$version
    done < <(dpkg-query -W -f='${Package} ${db:Status-Status} ${Version}\n' \
                 "${APT_PKGS[@]}" 2>/dev/null || true)
}
read_pkg_versions
missing=()
for p in "${APT_PKGS[@]}"; do
    [[ -n ${PKG_VERSION[$p]:-} ]] || missing+=("$p")
done
if [[ ${#missing[@]} -gt 0 ]]; then
    apt_update
    say "installing ${missing[*]}"
    run_logged "$LOGS/apt.log" apt-get install -y "${missing[@]}"
    read_pkg_versions
    for p in "${APT_PKGS[@]}"; do
        [[ -n ${PKG_VERSION[$p]:-} ]] || die "package $p did not install"
    done
fi
command -v "$CC" >/dev/null || die "$CC not found"
TOOLCHAIN_ID="mingw ${PKG_VERSION[g++-mingw-w64-x86-64-posix]}"

# ---------------------------------------------------------------- helpers
stamp_ok() { [[ -f $PREFIX/.stamp-$1 && $(<"$PREFIX/.stamp-$1") == "$2" ]]; }
stamp_write() { printf '%s\n' "$2" >"$PREFIX/.stamp-$1"; }

# fetch_source LOG APT-SPEC: download a Debian source package into $DL.
fetch_source() {
    local log=$1 spec=$2
    local name=${spec%%=*} want
    [[ $spec == *=* ]] && want="^Version: ${spec#*=}\$" || want="^Package: $name\$"
    if ! apt-cache showsrc "$name" 2>/dev/null | grep -- "$want" >/dev/null; then
        apt_update
    fi
    (cd "$DL" && run_logged "$log" apt-get -o APT::Sandbox::User=root \
        source --download-only "$spec")
}

# newest_dsc GLOB: newest matching .dsc in $DL.
newest_dsc() {
    local f
    f=$(cd "$DL" && ls -1 $1 2>/dev/null | sort -V | tail -n 1)
    [[ -n $f ]] || die "no source package matching $1 in $DL"
    printf '%s\n' "$DL/$f"
}

# ninja_static_lib NAME OUTDIR CFLAGS SOURCES...: compile C files with the
# mingw compiler into OUTDIR/libNAME.a, in parallel through a generated ninja file.
ninja_static_lib() {
    local name=$1 out=$2 cflags=$3; shift 3
    local nf=$out/build.ninja s o objs=()
    mkdir -p "$out/obj"
    {
        printf 'cflags = %s\n' "$cflags"
        printf 'rule cc\n  command = %s $cflags -MMD -MF $out.d -c $in -o $out\n  depfile = $out.d\n' "$CC"
        printf 'rule ar\n  command = rm -f $out && %s rcs $out $in\n' "$AR"
        for s in "$@"; do
            o=obj/$(basename "${s%.c}").o
            objs+=("$o")
            printf 'build %s: cc %s\n' "$o" "$s"
        done
        printf 'build lib%s.a: ar %s\n' "$name" "${objs[*]}"
    } >"$nf"
    run_logged "$LOGS/$name.log" ninja -C "$out" -j "$JOBS"
}

# ---------------------------------------------------------------- Oniguruma
ONIG_STAMP="onig $ONIG_UPSTREAM recipe $ONIG_RECIPE; $TOOLCHAIN_ID"
if stamp_ok onig "$ONIG_STAMP" && [[ -f $PREFIX/lib/libonig.a ]]; then
    say "oniguruma: up to date"
else
    say "oniguruma $ONIG_UPSTREAM: fetching and building (log: $LOGS/onig.log)"
    log=$LOGS/onig.log; : >"$log"
    fetch_source "$log" libonig
    dsc=$(newest_dsc "libonig_$ONIG_UPSTREAM-*.dsc")
    dir=$SRC/libonig-$ONIG_UPSTREAM
    rm -rf "$dir" "$BUILD/onig"
    run_logged "$log" dpkg-source -x "$dsc" "$dir"
    run_logged "$log" cmake -S "$dir" -B "$BUILD/onig" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN" \
        -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_C_FLAGS_RELEASE="-O2 -DNDEBUG" \
        -DCMAKE_INSTALL_PREFIX="$PREFIX" \
        -DCMAKE_INSTALL_LIBDIR=lib \
        -DBUILD_SHARED_LIBS=OFF \
        -DENABLE_POSIX_API=ON \
        -DINSTALL_DOCUMENTATION=OFF
    run_logged "$log" cmake --build "$BUILD/onig" -j "$JOBS"
    run_logged "$log" cmake --install "$BUILD/onig"
    stamp_write onig "$ONIG_STAMP"
fi

# ---------------------------------------------------------------- Lua 5.4
LUA_STAMP="lua $LUA_UPSTREAM recipe $LUA_RECIPE; $TOOLCHAIN_ID"
if stamp_ok lua "$LUA_STAMP" && [[ -f $PREFIX/lib/liblua.a ]]; then
    say "lua: up to date"
else
    say "lua $LUA_UPSTREAM: fetching and building (log: $LOGS/lua.log)"
    log=$LOGS/lua.log; : >"$log"
    fetch_source "$log" lua5.4
    dsc=$(newest_dsc "lua5.4_$LUA_UPSTREAM-*.dsc")
    dir=$SRC/lua5.4-$LUA_UPSTREAM
    rm -rf "$dir" "$BUILD/lua"
    run_logged "$log" dpkg-source -x "$dsc" "$dir"
    lua_srcs=()
    for f in "$dir"/src/*.c; do
        case $(basename "$f") in lua.c|luac.c) ;; *) lua_srcs+=("$f") ;; esac
    done
    ninja_static_lib lua "$BUILD/lua" "-std=gnu99 -O2 -Wall" "${lua_srcs[@]}"
    install -m 0644 "$BUILD/lua/liblua.a" "$PREFIX/lib/liblua.a"
    for h in lua.h luaconf.h lualib.h lauxlib.h lua.hpp; do
        install -m 0644 "$dir/src/$h" "$PREFIX/include/$h"
    done
    stamp_write lua "$LUA_STAMP"
fi

# ---------------------------------------------------------------- libmpdec
MPDEC_STAMP="mpdec $MPDEC_UPSTREAM from python3.11 $PY_SRC_VERSION recipe $MPDEC_RECIPE CONFIG_64 ASM; $TOOLCHAIN_ID"
if stamp_ok mpdec "$MPDEC_STAMP" && [[ -f $PREFIX/lib/libmpdec.a ]]; then
    say "libmpdec: up to date"
else
    say "libmpdec $MPDEC_UPSTREAM: fetching python3.11 source and building (log: $LOGS/mpdec.log)"
    log=$LOGS/mpdec.log; : >"$log"
    fetch_source "$log" "python3.11=$PY_SRC_VERSION"
    pydir=$BUILD/python3.11-src
    dir=$SRC/libmpdec-$MPDEC_UPSTREAM
    rm -rf "$pydir" "$dir" "$BUILD/mpdec"
    run_logged "$log" dpkg-source -x "$DL/python3.11_$PY_SRC_VERSION.dsc" "$pydir"
    cp -a "$pydir/Modules/_decimal/libmpdec" "$dir"
    rm -rf "$pydir"
    grep -q "MPD_VERSION \"$MPDEC_UPSTREAM\"" "$dir/mpdecimal.h" \
        || die "libmpdec in python3.11 $PY_SRC_VERSION is not $MPDEC_UPSTREAM"
    mkdir -p "$BUILD/mpdec/cfg"
    : >"$BUILD/mpdec/cfg/pyconfig.h"
    mpdec_srcs=()
    for f in "$dir"/*.c; do
        case $(basename "$f") in bench*.c) ;; *) mpdec_srcs+=("$f") ;; esac
    done
    [[ ${#mpdec_srcs[@]} -eq 15 ]] \
        || die "expected 15 libmpdec sources, found ${#mpdec_srcs[@]}"
    ninja_static_lib mpdec "$BUILD/mpdec" \
        "-std=gnu99 -O2 -Wall -DCONFIG_64 -DASM -I$BUILD/mpdec/cfg -I$dir" \
        "${mpdec_srcs[@]}"
    install -m 0644 "$BUILD/mpdec/libmpdec.a" "$PREFIX/lib/libmpdec.a"
    # The installed header needs no pyconfig.h and no -DCONFIG_64.
    awk '
        /^#define LIBMPDEC_MPDECIMAL_H_/ {
            print
            print ""
            print "/* Installed copy: the library was built for x86_64 with CONFIG_64 and ASM. */"
            print "#if !defined(CONFIG_64) && !defined(CONFIG_32)"
            print "  #define CONFIG_64"
            print "#endif"
            next
        }
        /#include "pyconfig.h"/ { next }
        { print }' "$dir/mpdecimal.h" >"$PREFIX/include/mpdecimal.h"
    grep -q '#define CONFIG_64' "$PREFIX/include/mpdecimal.h" \
        || die "could not adapt mpdecimal.h"
    stamp_write mpdec "$MPDEC_STAMP"
fi

# ---------------------------------------------------------------- GoogleTest
GTEST_SRC=/usr/src/googletest
GTEST_STAMP="googletest ${PKG_VERSION[googletest]} recipe $GTEST_RECIPE; $TOOLCHAIN_ID"
if stamp_ok gtest "$GTEST_STAMP" && [[ -f $PREFIX/lib/libgtest.a && -f $PREFIX/lib/libgmock.a ]]; then
    say "googletest: up to date"
else
    say "googletest ${PKG_VERSION[googletest]}: building (log: $LOGS/gtest.log)"
    log=$LOGS/gtest.log; : >"$log"
    [[ -f $GTEST_SRC/CMakeLists.txt ]] || die "$GTEST_SRC missing (package googletest)"
    rm -rf "$BUILD/gtest"
    run_logged "$log" cmake -S "$GTEST_SRC" -B "$BUILD/gtest" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN" \
        -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_C_FLAGS_RELEASE="-O2 -DNDEBUG" \
        -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG" \
        -DCMAKE_INSTALL_PREFIX="$PREFIX" \
        -DCMAKE_INSTALL_LIBDIR=lib \
        -DBUILD_SHARED_LIBS=OFF \
        -DBUILD_GMOCK=ON \
        -DINSTALL_GTEST=ON \
        -Dgtest_disable_pthreads=OFF
    run_logged "$log" cmake --build "$BUILD/gtest" -j "$JOBS"
    run_logged "$log" cmake --install "$BUILD/gtest"
    stamp_write gtest "$GTEST_STAMP"
fi

# ---------------------------------------------------------------- Wine prefix
if [[ -f $WINEPREFIX_DIR/system.reg ]]; then
    say "wine prefix: present ($WINEPREFIX_DIR)"
else
    say "creating wine prefix $WINEPREFIX_DIR (log: $LOGS/wineprefix.log)"
    log=$LOGS/wineprefix.log; : >"$log"
    mkdir -p "$WINEPREFIX_DIR"
    wine_env=(env WINEPREFIX="$WINEPREFIX_DIR" WINEDEBUG=-all
              WINEDLLOVERRIDES="mscoree,mshtml=")
    run_logged "$log" "${wine_env[@]}" wineboot -i
    run_logged "$log" "${wine_env[@]}" wineserver -w
    "${wine_env[@]}" wineserver -k >>"$log" 2>&1 || true
    [[ -f $WINEPREFIX_DIR/system.reg ]] || die "wine prefix was not created; see $log"
fi

say "done: prefix $PREFIX"
