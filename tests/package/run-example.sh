#!/usr/bin/env bash
# The package as a user gets it: installs a build into a staging prefix, builds examples/my-types
# against it with the build's own compiler and flags, runs the example, runs the installed vemsh on the
# example's type library (after moving the prefix, so nothing may depend on where it was installed), and
# builds a program from the pkg-config file alone. Linking uses --as-needed throughout, as several
# distributions do by default, so that a type library dropped from a link is noticed.
#
# Inputs, from the environment (tests/CMakeLists.txt sets them):
#   BUILD_DIR EXAMPLE_DIR WORK_DIR CMAKE_COMMAND MAKE_PROGRAM CXX_COMPILER BUILD_TYPE
#   CXX_FLAGS EXE_LINKER_FLAGS SHARED_LINKER_FLAGS   the build's own flags
#   EMULATOR SYSTEM_NAME SYSTEM_PROCESSOR            set in a cross build (the 32-bit one)
set -euo pipefail

fail() {
  echo "package_example: FAILED: $*" >&2
  exit 1
}
# Runs a step with its output kept in a log that is shown only when it fails.
quietly() {
  local log="$WORK_DIR/$1.log"
  shift
  "$@" >"$log" 2>&1 || { cat "$log" >&2; fail "$*"; }
}
expect_line() {  # expect_line OUTPUT_FILE LINE
  grep -qxF -- "$2" "$1" || { cat "$1" >&2; fail "expected the line: $2"; }
}

command -v pkg-config >/dev/null || { echo "SKIP: pkg-config is not installed"; exit 77; }
# A program of the target architecture, run through the emulator when there is one.
run() {
  if [ -n "${EMULATOR:-}" ]; then $EMULATOR "$@"; else "$@"; fi
}

rm -rf "$WORK_DIR"
mkdir -p "$WORK_DIR"
stage="$WORK_DIR/stage"
quietly install "$CMAKE_COMMAND" --install "$BUILD_DIR" --prefix "$stage"
for f in bin/vemc bin/vemsh lib/libvem.so.0 lib/libvemplatform.so.0 lib/liborvtypes.so.0 \
         lib/cmake/OrvTypes/OrvTypesConfig.cmake lib/pkgconfig/orvtypes.pc include/Vem/Registry.h \
         include/Pelix/IntfId.h include/Pelix/Pelix.h include/Orv/OrvPortVlanPair.h \
         share/orvtypes/vem/Pelix/Pelix.vem share/orvtypes/vem/Orv/OrvPortVlanPair.vem; do
  [ -e "$stage/$f" ] || fail "not installed: $f"
done

# The example, configured as a user would, plus the build's flags and ours: warnings are errors, so the
# installed headers must compile cleanly in a user's build too.
cross=()
if [ -n "${SYSTEM_NAME:-}" ]; then
  cross=(-DCMAKE_SYSTEM_NAME="$SYSTEM_NAME" -DCMAKE_SYSTEM_PROCESSOR="$SYSTEM_PROCESSOR"
         -DCMAKE_CROSSCOMPILING_EMULATOR="$EMULATOR")
fi
example="$WORK_DIR/my-types"
quietly configure "$CMAKE_COMMAND" -S "$EXAMPLE_DIR" -B "$example" -G Ninja --no-warn-unused-cli \
  -DCMAKE_MAKE_PROGRAM="$MAKE_PROGRAM" -DCMAKE_CXX_COMPILER="$CXX_COMPILER" -DCMAKE_BUILD_TYPE="$BUILD_TYPE" \
  -DCMAKE_CXX_FLAGS="$CXX_FLAGS -Wall -Wextra -Werror" \
  -DCMAKE_EXE_LINKER_FLAGS="$EXE_LINKER_FLAGS -Wl,--as-needed" \
  -DCMAKE_SHARED_LINKER_FLAGS="$SHARED_LINKER_FLAGS -Wl,--as-needed" \
  -DCMAKE_PREFIX_PATH="$stage" "${cross[@]}"
quietly build "$CMAKE_COMMAND" --build "$example" -j 2
# A machine that happens to run the target's programs natively would not notice a missing emulator.
if [ -n "${EMULATOR:-}" ]; then
  grep -q "&& $EMULATOR [^ ]*/bin/vemc " "$example/build.ninja" || fail "vemc is not run through $EMULATOR"
fi

out="$WORK_DIR/demo.out"
run "$example/my-types-demo" >"$out" 2>&1 || { cat "$out" >&2; fail "my-types-demo exited non-zero"; }
expect_line "$out" 'value: MyTypes::UplinkConfig(port=Ethernet49/1, description="to spine 1", role=uplink, mtu=9000, maxMtu=9214)'
expect_line "$out" 'refused: MyTypes::UplinkConfig::mtu > _maxMtu not allowed'
expect_line "$out" 'refused: MyTypes::UplinkConfig::mtu > maxMtu_ not allowed'
expect_line "$out" 'pair: Orv::PortVlanPair(port=Ethernet49/1, vlan=100)'
expect_line "$out" 'mirror: link up=false flaps=1'
expect_line "$out" 'my-types: all checks passed'

out="$WORK_DIR/modules.out"
run "$example/my-types-modules" >"$out" 2>&1 || { cat "$out" >&2; fail "my-types-modules exited non-zero"; }
for module in Pelix OrvPortVlanPair MyTypes; do
  grep -q "^$module _${module}_[0-9a-f]*_vemModule\$" "$out" || { cat "$out" >&2; fail "$module not registered"; }
done

# The installed shell, from a prefix moved after installation, loading the user's type library.
moved="$WORK_DIR/moved-prefix"
mv "$stage" "$moved"
vemsh="$moved/bin/vemsh"
library="$example/libmytypes.so"
out="$WORK_DIR/vemsh.out"
run "$vemsh" --load "$library" describe MyTypes::UplinkConfig >"$out" 2>&1 || { cat "$out" >&2; fail "vemsh describe"; }
expect_line "$out" 'type MyTypes::UplinkConfig'
expect_line "$out" '  module        MyTypes, index 1'
expect_line "$out" '  constructor   port: Pelix::IntfId, description: Vem::String, role: MyTypes::LinkRole, mtu: U16, _maxMtu: U16'
text='MyTypes::UplinkConfig(port=Ethernet2, description="lab", role=trunk, mtu=1500, maxMtu=9214)'
run "$vemsh" --load "$library" value MyTypes::UplinkConfig "$text" >"$out" 2>&1 || { cat "$out" >&2; fail "vemsh value"; }
expect_line "$out" "text: $text"
run "$vemsh" --load "$library" describe MyTypes::Site >"$out" 2>&1 || { cat "$out" >&2; fail "vemsh describe Site"; }
expect_line "$out" 'type MyTypes::Site'
# Without --load the shell knows nothing of the user's types.
if run "$vemsh" describe MyTypes::UplinkConfig >"$out" 2>&1; then fail "vemsh found MyTypes without --load"; fi
expect_line "$out" 'vemsh: no type named MyTypes::UplinkConfig'

# pkg-config alone: the flags it gives build and link a program that only needs the registrations.
export PKG_CONFIG_PATH="$moved/lib/pkgconfig"
read -r -a pc_flags <<<"$(pkg-config --cflags --libs orvtypes)"
libdir="$(pkg-config --variable=libdir orvtypes)"
read -r -a cxx_flags <<<"$CXX_FLAGS $EXE_LINKER_FLAGS"
quietly pkg-config-build "$CXX_COMPILER" -std=c++20 "${cxx_flags[@]}" -Wl,--as-needed "$EXAMPLE_DIR/modules.cpp" \
  "${pc_flags[@]}" -Wl,-rpath,"$libdir" -o "$WORK_DIR/pc-modules"
out="$WORK_DIR/pc-modules.out"
run "$WORK_DIR/pc-modules" >"$out" 2>&1 || { cat "$out" >&2; fail "pc-modules exited non-zero"; }
grep -q '^OrvPortVlanPair ' "$out" || { cat "$out" >&2; fail "OrvPortVlanPair not registered through pkg-config linking"; }

echo "package_example: passed"
