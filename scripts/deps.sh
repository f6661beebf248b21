# Installs the Debian packages the scripts need, skipping those already present. Sourced by the
# scripts in this folder. The same names exist on Debian 12 and 13, so one clang (19) serves both.
# What building and running the agent needs (the demo installs only these).
KP_AGENT_PACKAGES=(cmake ninja-build g++ pkg-config libx11-dev libxext-dev python3)
# What the tests, benchmarks, fuzz targets and the format check need on top.
KP_TEST_PACKAGES=(libgtest-dev libgmock-dev libssl-dev libtirpc-dev rapidjson-dev
  xvfb xauth locales clang-19 libclang-rt-19-dev clang-format-19 clang-tidy-19)
KP_CLANG_VERSION=19

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
