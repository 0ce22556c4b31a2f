#!/bin/sh
# Builds the card's libraries with card SDKs of the kind that embedded Linux build systems
# generate (scripts/make-vendor-sdk.sh lays them out), through the recipe of docs/card-build.md
# exactly as the docs write it (the block between "<!-- recipe -->" and "<!-- /recipe -->", with
# the SDK's place, the build directory and the image put in), and checks the results with
# scripts/check-card-library.sh. The card's platform is six stub libraries libcdsapi.so ...
# libnetinfo.so in the SDK's sysroot, which define what the libraries take from the platform.
# Two SDKs: one over Debian 12's armhf C library (glibc 2.36), one over Debian 11's (glibc 2.31,
# 32-bit time_t), whose packages are downloaded once into CACHE_DIR and kept there. Every case
# prints one line; a case that cannot run (the package mirror does not serve Debian 11) says so on
# its own lines, and the others run.
# Usage: check_vendor_sdk.sh SCRATCH_DIR [ARMHF_SYSROOT [CACHE_DIR]]
#   (defaults build/sysroot-armhf and build/vendor-sdk-cache)
set -eu

cd "$(dirname "$0")/../.."
source=$(pwd)
mkdir -p "$1"
scratch=$(cd "$1" && pwd)
debian=${2:-build/sysroot-armhf}
cache=${3:-build/vendor-sdk-cache}
me=check_vendor_sdk.sh
triplet=armv7a-vendor-linux-gnueabihf
cross=arm-linux-gnueabihf
platform="cdsapi dravo zorvan utils meslog netinfo"
rm -rf "$scratch"
mkdir -p "$scratch"

fail() {
  echo "$me: FAILED: $*" >&2
  exit 1
}
passed() { echo "$me: ok: $*"; }

# --- The recipe ----------------------------------------------------------------------------------

# The recipe of docs/card-build.md as a script for SDK, building in BUILD and installing in IMAGE,
# then changed by the sed expressions given.
recipe() ( # SDK BUILD IMAGE [SED_EXPRESSION...]
  sdk=$1 build=$2 image=$3
  shift 3
  sed -n '/^<!-- recipe -->$/,/^<!-- \/recipe -->$/p' docs/card-build.md | sed -e '/^<!--/d' -e '/^```/d' \
    -e "s|^SDK=/opt/card-sdk |SDK=$sdk |" -e "s| build/card| $build|g" -e "s|IMAGE/|$image/|" "$@"
)
# Runs it in a shell of its own (the environment script changes the shell), in the source tree.
run_recipe() { # LOG SDK BUILD IMAGE [SED_EXPRESSION...]
  log=$1
  shift
  recipe "$@" >"$log.sh"
  env -u CC -u CXX -u CFLAGS -u CXXFLAGS -u LDFLAGS sh -e "$log.sh" >"$log" 2>&1
}
# The loaded sizes that the ship check printed into LOG.
sizes() { sed -n 's/^check-card-library.sh: \(lib[^:]*\)\.so[.0-9]*: \([0-9]*\) bytes loaded.*/\1 \2/p' "$1" | paste -sd, - | sed 's/,/, /g'; }
# What a CMake message says, on one line.
said() { tr -s ' \n' '  ' <"$1"; }

# The undefined symbols of the libraries that BUILD made, without symbol versions, of the platform.
platform_symbols() { # BUILD
  "$cross-nm" -D --undefined-only "$1"/src/libemailService.so.1 "$1"/src/check/libemailServiceCheck.so.1 |
    awk '$1 == "U" && $2 !~ /@|google8protobuf/ { print $2 }' | sort -u
}
# The platform library of each such symbol: its namespace, the card's log (dataLog) with the data
# store client, the message classes' descriptor with dravo.
platform_library() { # SYMBOL
  case $1 in
    descriptor_table_dravo*) echo dravo ;;
    *) echo "$1" | sed -E 's/^_Z(T[VIS])?N?K?//; s/^([0-9]+)(.*)/\1 \2/' | { read -r length rest
         name=$(printf '%s' "$rest" | cut -c "1-$length")
         case $name in dataLog) echo cdsapi ;; *) echo "$name" ;; esac; } ;;
  esac
}
# Stub platform libraries in the SDK's sysroot, defining the symbols of the platform that BUILD's
# libraries need, each in the library of its namespace.
make_platform_stubs() { # SDK BUILD
  symbols=$(platform_symbols "$2")
  printf '%s\n' "$symbols" | grep -q '^_ZN6cdsapi11CdsAccessor' || fail "no platform symbol to stub"
  for name in $platform; do
    printf '%s\n' "$symbols" | while read -r symbol; do
      [ "$(platform_library "$symbol")" = "$name" ] && echo "$symbol"
    done | awk 'BEGIN { print ".section .note.GNU-stack,\"\",%progbits\n.data" }
      { kind = $1 ~ /_default_instance_E$|^_ZT[VIS]|^descriptor_table/ ? "%object" : "%function"
        print ".globl " $1 "\n.type " $1 ", " kind "\n.size " $1 ", 4\n" $1 ":\n  .word 0" }' >"$scratch/lib$name.s"
    (. "$1/environment-setup-$triplet" && $CC -shared -Wl,-soname,"lib$name.so.1" \
      -o "$SDKTARGETSYSROOT/usr/lib/lib$name.so" "$scratch/lib$name.s")
  done
  printf '%s\n' "$symbols" | while read -r symbol; do
    case " $platform " in *" $(platform_library "$symbol") "*) ;; *) echo "$symbol" ;; esac
  done >"$scratch/unplaced"
  [ ! -s "$scratch/unplaced" ] || fail "platform symbols of no platform library: $(cat "$scratch/unplaced")"
}
# Each library of BUILD needs exactly the C and C++ runtimes and the platform libraries whose
# symbols it uses (--as-needed), and exports only the project's namespace (the export map).
check_needed_and_exports() { # BUILD
  for library in "$1"/src/libemailService.so.1 "$1"/src/check/libemailServiceCheck.so.1; do
    used=$("$cross-nm" -D --undefined-only "$library" | awk '$1 == "U" && $2 !~ /@/ { print $2 }' |
      while read -r symbol; do
        case $symbol in *google8protobuf*) echo protobuf ;; *) platform_library "$symbol" ;; esac
      done | sort -u | sed 's/^\(.*\)$/lib\1.so./')
    expected=$(printf '%s\n' libstdc++.so. libgcc_s.so. "the C library" $used | sort)
    # The C library is libc, its dynamic loader (the stack protector's guard on 32-bit ARM) and,
    # before glibc 2.34, libpthread.
    needed=$(readelf -d "$library" | sed -n 's/.*(NEEDED).*\[\(.*\.so\.\)[0-9]*\]/\1/p' |
      sed -E 's/^(libc|ld-linux-armhf|libpthread)\.so\.$/the C library/' | sort -u)
    [ "$needed" = "$expected" ] ||
      fail "$(basename "$library") needs $(echo $needed), not $(echo $expected) (the libraries it uses)"
    exported=$(readelf -W --dyn-syms "$library" | awk '$1 ~ /^[0-9]+:$/ && $7 != "UND" && $5 != "LOCAL" && NF >= 8 { print $8 }' |
      grep -v '^_Z\(N\|NK\|TVN\|TIN\|TSN\)12emailservice' || true)
    [ -z "$exported" ] || fail "$(basename "$library") exports more than its namespace: $(echo $exported)"
  done
}

# --- The cases -----------------------------------------------------------------------------------

sdk=$scratch/sdk
recipe "$sdk" build image | sed -n 2p | grep -q '^\. "\$SDK"/environment-setup-' ||
  fail "the recipe in docs/card-build.md does not start from the SDK's environment script"
scripts/make-vendor-sdk.sh "$sdk" bookworm "$debian" "$cache"
# The platform's symbols, from a build without platform libraries (the card's service provides
# them when it loads the library; docs/card-build.md, "Two platforms").
run_recipe "$scratch/unbound.log" "$sdk" "$scratch/unbound" "$scratch/image" \
  -e 's|-DEMAILSERVICE_CARD_LIBRARIES="[^"]*"|-DEMAILSERVICE_CARD_LIBRARIES=|' -e '/check-card-library/d' ||
  fail "the recipe without platform libraries: $(tail -n 20 "$scratch/unbound.log")"
make_platform_stubs "$sdk" "$scratch/unbound"

# The recipe as written: builds with the SDK's flags, installs, passes the check with its budgets.
run_recipe "$scratch/recipe.log" "$sdk" "$scratch/build" "$scratch/image" ||
  fail "the recipe with the Debian 12 SDK: $(tail -n 20 "$scratch/recipe.log")"
grep -q "libemailService.so.1.*: [0-9]* bytes loaded" "$scratch/recipe.log" || fail "no sizes printed: $(cat "$scratch/recipe.log")"
[ -f "$scratch/image/usr/lib/libemailService.so.1" ] || fail "the recipe installed no library into the image"
grep -qxF "set(CMAKE_CXX_COMPILER \"$sdk/sysroots/x86_64-sdk-linux/usr/bin/$triplet-g++\")" \
  "$scratch"/build/CMakeFiles/*/CMakeCXXCompiler.cmake || fail "not the SDK's compiler"
grep -q "^Protobuf_PROTOC_EXECUTABLE:FILEPATH=$sdk/sysroots/x86_64-sdk-linux/usr/bin/protoc$" "$scratch/build/CMakeCache.txt" ||
  fail "not the SDK's protoc"
grep -q -- '-fstack-protector-strong' "$scratch/build/CMakeCache.txt" || fail "the SDK's flags were not used"
check_needed_and_exports "$scratch/build"
passed "Debian 12 SDK: the recipe with the SDK's flags builds, installs and passes the ship check ($(sizes "$scratch/recipe.log") bytes loaded, $(grep -o 'oldest glibc [0-9.]*' "$scratch/recipe.log"))"

# Without the environment the SDK's toolchain file leaves the host's compiler: refused at configure.
if run_recipe "$scratch/no-environment.log" "$sdk" "$scratch/no-environment" "$scratch/image" -e '/^\. /d'; then
  fail "a card build without the SDK's environment was accepted (the host's compiler)"
fi
case $(said "$scratch/no-environment.log") in
  *"needs a compiler for the card's 32-bit ARM, but "*" builds for x86_64"*"Source the card SDK's environment script"*) ;;
  *) fail "the host compiler's refusal is not told: $(said "$scratch/no-environment.log")" ;;
esac
passed "a card build with the host's compiler (no SDK environment) is refused at configure"

# A blank-separated list of platform libraries is refused with the list form.
if run_recipe "$scratch/blanks.log" "$sdk" "$scratch/blanks" "$scratch/image" \
  -e 's|-DEMAILSERVICE_CARD_LIBRARIES="\([^"]*\)"|-DEMAILSERVICE_CARD_LIBRARIES="cdsapi dravo"|'; then
  fail "a blank-separated EMAILSERVICE_CARD_LIBRARIES was accepted"
fi
case $(said "$scratch/blanks.log") in
  *"EMAILSERVICE_CARD_LIBRARIES is a CMake list: 'cdsapi dravo' would be linked as one library"*'"cdsapi;dravo"'*) ;;
  *) fail "the blank-separated list's refusal is not told: $(said "$scratch/blanks.log")" ;;
esac
passed "a blank-separated EMAILSERVICE_CARD_LIBRARIES is refused with the list form"

# The Debian 11 SDK: stopped at configure for its 32-bit time_t, built when that is accepted.
if ! scripts/make-vendor-sdk.sh "$scratch/old-sdk" bullseye "$debian" "$cache" >"$scratch/old-sdk.log" 2>&1; then
  echo "$me: NOT RUN: the SDK over Debian 11's glibc 2.31: the package mirror did not serve Debian 11's packages:"
  sed "s/^/$me:   /" "$scratch/old-sdk.log"
else
  old=$scratch/old-sdk
  if run_recipe "$scratch/old.log" "$old" "$scratch/old" "$scratch/old-image"; then
    fail "a card build over glibc 2.31 (32-bit time_t) was accepted without EMAILSERVICE_ACCEPT_32BIT_TIME"
  fi
  case $(said "$scratch/old.log") in
    *"has a 32-bit time_t"*"after 2038-01-19 03:14:07 UTC"*"-DEMAILSERVICE_ACCEPT_32BIT_TIME=ON"*) ;;
    *) fail "the 32-bit time_t refusal is not told: $(said "$scratch/old.log")" ;;
  esac
  passed "Debian 11 SDK (glibc 2.31): stopped at configure, naming 2038-01-19 and EMAILSERVICE_ACCEPT_32BIT_TIME"
  accept='s|-DEMAILSERVICE_BUILD_TESTS=OFF|& -DEMAILSERVICE_ACCEPT_32BIT_TIME=ON|'
  run_recipe "$scratch/old-unbound.log" "$old" "$scratch/old-unbound" "$scratch/old-image" -e "$accept" \
    -e 's|-DEMAILSERVICE_CARD_LIBRARIES="[^"]*"|-DEMAILSERVICE_CARD_LIBRARIES=|' -e '/check-card-library/d' ||
    fail "the recipe over glibc 2.31 without platform libraries: $(tail -n 20 "$scratch/old-unbound.log")"
  make_platform_stubs "$old" "$scratch/old-unbound"
  run_recipe "$scratch/old-accepted.log" "$old" "$scratch/old" "$scratch/old-image" -e "$accept" ||
    fail "the recipe over glibc 2.31 with EMAILSERVICE_ACCEPT_32BIT_TIME: $(tail -n 20 "$scratch/old-accepted.log")"
  floor=$(sed -n 's/.*oldest glibc \([0-9.]*\).*/\1/p' "$scratch/old-accepted.log")
  [ -n "$floor" ] && [ "$(printf '%s\n' "$floor" 2.31 | sort -V | tail -n 1)" = 2.31 ] ||
    fail "the libraries built over glibc 2.31 need glibc ${floor:-?}"
  grep -q "^Protobuf_PROTOC_EXECUTABLE:FILEPATH=$old/sysroots/x86_64-sdk-linux/usr/bin/protoc$" "$scratch/old/CMakeCache.txt" ||
    fail "not the Debian 11 SDK's protoc"
  check_needed_and_exports "$scratch/old"
  passed "Debian 11 SDK with EMAILSERVICE_ACCEPT_32BIT_TIME=ON: builds, installs and passes the ship check ($(sizes "$scratch/old-accepted.log") bytes loaded, oldest glibc $floor)"
fi

target=$sdk/sysroots/$triplet
bin=$sdk/sysroots/x86_64-sdk-linux/usr/bin

# The check refuses a library holding a card path under a host directory and one that loads more
# than its budget, and does not count bytes that the card does not load.
doctored() { # LIBRARY SECTION_FILE EXPECTED_REFUSAL
  cp "$1" "$1.good"
  "$bin/$triplet-objcopy" --add-section ".doctored=$2" "$1"
  if scripts/check-card-library.sh "$scratch/build" >"$scratch/doctored.log" 2>&1 || ! grep -q "$3" "$scratch/doctored.log"; then
    fail "check-card-library.sh does not refuse $1 with '$3': $(cat "$scratch/doctored.log")"
  fi
  mv "$1.good" "$1"
}
printf '/work/my-card/tmp/logMeasures/ups\0' >"$scratch/prefixed"
doctored "$scratch"/build/src/libemailService.so.1.*.* "$scratch/prefixed" 'holds card paths under another directory'
check=$(ls "$scratch"/build/src/check/libemailServiceCheck.so.1.*.*)
cp "$check" "$check.good"
head -c 40000 /dev/zero >"$scratch/padding"
"$bin/$triplet-objcopy" --add-section ".padding=$scratch/padding" "$check"
scripts/check-card-library.sh "$scratch/build" >"$scratch/padded.log" 2>&1 ||
  fail "40,000 bytes that the card does not load count against the budget: $(cat "$scratch/padded.log")"
printf 'char const kBallast[40000] = {1};\n' >"$scratch/ballast.c"
(. "$sdk/environment-setup-$triplet" && $CC -shared -o "$check" "$scratch/ballast.c")
if scripts/check-card-library.sh "$scratch/build" >"$scratch/ballast.log" 2>&1 || ! grep -q 'loads [0-9]* bytes, over its budget of 30720' "$scratch/ballast.log"; then
  fail "check-card-library.sh does not refuse a library that loads 40,000 bytes: $(cat "$scratch/ballast.log")"
fi
mv "$check.good" "$check"
passed "the ship check counts loaded bytes only and refuses a card path under a host directory"

# A protoc of another protobuf release than the sysroot's is refused with both versions.
printf '#!/bin/sh\necho "libprotoc 3.12.4"\n' >"$scratch/protoc-3.12.4"
chmod +x "$scratch/protoc-3.12.4"
if (. "$sdk/environment-setup-$triplet" && cmake -S "$source" -B "$scratch/mismatch" \
  --toolchain "$sdk/sysroots/x86_64-sdk-linux/usr/share/cmake/toolchain.cmake" -DEMAILSERVICE_PLATFORM=card \
  -DEMAILSERVICE_BUILD_TESTS=OFF -DProtobuf_PROTOC_EXECUTABLE="$scratch/protoc-3.12.4") >"$scratch/mismatch.log" 2>&1; then
  fail "a mismatched protoc was accepted"
fi
case $(said "$scratch/mismatch.log") in
  *"is protobuf 3.12.4, but the protobuf headers in $target/usr/include are protobuf $(protoc --version | sed 's/^libprotoc //')"*) ;;
  *) fail "the protoc mismatch is not told: $(said "$scratch/mismatch.log")" ;;
esac
# A card build with a host path prefix (left in the cache by an earlier configuration) is refused.
if cmake -S "$source" -B "$scratch/build" -DEMAILSERVICE_PATH_PREFIX=/tmp/my-card >"$scratch/prefix.log" 2>&1; then
  fail "a card build took a path prefix"
fi
grep -q 'EMAILSERVICE_PATH_PREFIX is ./tmp/my-card., but a library for the card' "$scratch/prefix.log" ||
  fail "the path prefix refusal is not told: $(cat "$scratch/prefix.log")"
passed "a protoc of another release and a host path prefix are refused"
rm -rf "$scratch"
echo "$me: the card's libraries build with the generated-style SDKs"
