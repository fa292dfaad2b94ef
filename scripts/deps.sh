# Sourced by the set-up scripts: installs the Debian packages the build needs
# when any is missing (root required then), running apt-get update once.

NUDORA_PACKAGES=(
  build-essential cmake pkg-config
  libegl-dev libgles-dev libegl-mesa0 libgl1-mesa-dri
  libglm-dev libstb-dev libssl-dev libcli11-dev libjpeg-dev libpng-dev
  libavformat-dev libavcodec-dev libswscale-dev libavutil-dev
  libgtest-dev libbenchmark-dev
  ffmpeg  # the program: bench_quality decodes through it, the demo stacks videos with it
  # the nudorafilter element and its test
  libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev gstreamer1.0-tools gstreamer1.0-plugins-base
)

nudora_install_packages() {
  local missing=()
  for pkg in "${NUDORA_PACKAGES[@]}" "$@"; do
    if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed'; then
      missing+=("$pkg")
    fi
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  echo "Installing: ${missing[*]}"
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

nudora_build() {
  cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
  cmake --build build -j"$(nproc)"
}
