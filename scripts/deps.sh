# Installs the Debian packages the scripts need, skipping those already present. Sourced by the
# scripts in this folder. The same names exist on Debian 12 and 13, so one clang (19) serves both.
# What building and running the agent needs (the demo installs only these).
KP_AGENT_PACKAGES=(cmake ninja-build g++ pkg-config libx11-dev libxext-dev python3)
# What the tests, benchmarks, fuzz targets and the format check need on top.
KP_TEST_PACKAGES=(libgtest-dev libgmock-dev libssl-dev libtirpc-dev rapidjson-dev
  xvfb xauth locales clang-19 libclang-rt-19-dev clang-format-19 clang-tidy-19)
KP_CLANG_VERSION=19
# What building and checking the Debian package needs (scripts/package_check.sh), then the
# reproducibility check, the installed-package test and the arm64 cross-build with its emulator.
KP_PACKAGE_PACKAGES=(dpkg-dev debhelper lintian binutils git)
KP_REPRO_PACKAGES=(faketime diffoscope-minimal util-linux tzdata)
KP_AUTOPKGTEST_PACKAGES=(autopkgtest)
KP_CROSS_ARCH=arm64
KP_CROSS_PACKAGES=(crossbuild-essential-arm64 qemu-user pkg-config:arm64 libc6:arm64 libstdc++6:arm64 libx11-dev:arm64 libxext-dev:arm64
  libgtest-dev:arm64 libgmock-dev:arm64 libssl-dev:arm64 libtirpc-dev:arm64)

# kp_install_deps package...: installs the packages named that are missing.
kp_install_deps() {
  local missing=()
  local p
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  if [ ${#missing[@]} -gt 0 ]; then
    echo "installing: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
  fi
}

# kp_install_cross_deps: the arm64 tool chain, emulator and libraries; adds the architecture to dpkg
# first (its package lists come with the next apt-get update, which the missing packages cause).
kp_install_cross_deps() {
  dpkg --print-foreign-architectures | grep -qx "$KP_CROSS_ARCH" || dpkg --add-architecture "$KP_CROSS_ARCH"
  kp_install_deps "${KP_PACKAGE_PACKAGES[@]}" "${KP_CROSS_PACKAGES[@]}"
}

# kp_copy_tree <folder>: copies the working tree as it is now (the files git tracks and the new ones
# it does not ignore, uncommitted changes included) into a new folder: build folders stay behind.
kp_copy_tree() {
  mkdir -p "$1"
  git ls-files -z --cached --others --exclude-standard |
    while IFS= read -r -d '' f; do [ -e "$f" ] && printf '%s\0' "$f"; done |
    tar --null -T - -cf - | tar -xf - -C "$1"
}
