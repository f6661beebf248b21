# Installs the Debian packages the build, the tests and the demo need,
# skipping those already present. Sourced by the scripts in this folder.
KP_PACKAGES=(cmake ninja-build g++ clang clang-format libclang-rt-14-dev pkg-config
  libx11-dev libxext-dev libgtest-dev libgmock-dev
  libssl-dev libtirpc-dev rapidjson-dev xvfb xauth python3 locales)

# kp_install_deps [package...]: the packages named, or the list above when none are.
kp_install_deps() {
  local missing=()
  local p
  local wanted=("$@")
  [ ${#wanted[@]} -gt 0 ] || wanted=("${KP_PACKAGES[@]}")
  for p in "${wanted[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  if [ ${#missing[@]} -gt 0 ]; then
    echo "installing: ${missing[*]}"
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
  fi
}
