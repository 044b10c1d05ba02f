# What the scripts share. Sourced, not run: the caller has set -euo pipefail.
# shellcheck shell=bash disable=SC2034

project_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# The folders of the libraries' sources.
library_folders=(model base xml http codec server services subscriptions)

# Prints the comment at the head of the script that is run, which says what it does and how it is called.
print_usage() {
  sed -n '2,/^[^#]/{/^#/s/^# \?//p}' "$0"
}

# For scripts whose arguments are their own: --help, as the first argument, prints the comment and ends the script.
answer_help() {
  if [[ ${1-} == --help ]]; then
    print_usage
    exit 0
  fi
}

# Debian 12 packages, each with a command or file that exists if it is installed.
build_packages=(
  cmake:cmake
  g++:g++
  libexpat1-dev:/usr/include/expat.h
  libpoco-dev:/usr/include/Poco/Net/HTTPServer.h
  libssl-dev:/usr/include/openssl/ssl.h
  ninja-build:ninja
)
test_packages=(
  curl:curl
  libbenchmark-dev:/usr/include/benchmark/benchmark.h
  libgmock-dev:/usr/include/gmock/gmock.h
  libgtest-dev:/usr/include/gtest/gtest.h
  libsqlite3-dev:/usr/include/sqlite3.h
  openssl:openssl
  pkgconf:pkg-config
  python3:python3
)
tool_packages=(
  libcli11-dev:/usr/include/CLI/CLI.hpp
  libcurl4-openssl-dev:curl-config
  libsqlite3-dev:/usr/include/sqlite3.h
  libxml2-dev:/usr/include/libxml2/libxml/parser.h
)
gateway_packages=(
  libboost1.81-dev:/usr/include/boost/beast/core/tcp_stream.hpp
  libjs-dygraphs:/usr/share/javascript/dygraphs/dygraph.min.js
  nlohmann-json3-dev:/usr/include/nlohmann/json.hpp
)
# What tests of the gateway need. They are skipped without.
gateway_test_packages=(
  libxml2-utils:xmllint
  prometheus:promtool
  python3-zeep:/usr/lib/python3/dist-packages/zeep
)
# What the recipes of the documentation are followed with. Tests are skipped without.
recipe_packages=(
  gnuplot-nox:gnuplot
  mosquitto:/usr/sbin/mosquitto
  mosquitto-clients:mosquitto_pub
  prometheus:prometheus
  sqlite3:sqlite3
)
# A browser that looks at the page of the gateway. Its test is skipped without.
browser_packages=(
  chromium:chromium
  chromium-driver:chromedriver
  python3-selenium:/usr/lib/python3/dist-packages/selenium
)
# What a locale with a decimal comma is made of. Its test is skipped without.
locale_packages=(
  locales:/usr/share/i18n/locales/de_DE
)
# Shells other than bash that xmlda has completions for. Their tests are skipped without.
shell_packages=(
  fish:fish
  zsh:zsh
)
# Clients that others made, and the proxy of deploy/: what tests of them need. Tests are skipped without.
client_packages=(
  gsoap:soapcpp2
  libgsoap-dev:/usr/include/stdsoap2.h
  nodejs:node
  npm:npm
  python3-zeep:/usr/lib/python3/dist-packages/zeep
)
# Clients whose proxies are made from a description: the step "clients" of scripts/test.
proxy_packages=(
  jaxws:wsimport
  mono-devel:wsdl
  openjdk-17-jdk-headless:javac
)
deploy_packages=(
  libnginx-mod-http-js:/usr/lib/nginx/modules/ngx_http_js_module.so
  nginx-light:/usr/sbin/nginx
  systemd:systemd-analyze
)
# The site of the documentation. Its test is skipped without.
docs_packages=(
  doxygen:doxygen
  doxygen-awesome-css:/usr/share/doxygen-awesome-css/doxygen-awesome.css
  mkdocs-material:/usr/share/mkdocs/themes/material/base.html
  python3:python3
)
package_packages=(
  dpkg-dev:dpkg-shlibdeps
  file:file
)
try_packages=(
  iproute2:ip
  lintian:lintian
  mmdebstrap:mmdebstrap
  podman:podman
)
bench_packages=(
  libbenchmark-dev:/usr/include/benchmark/benchmark.h
  openssl:openssl
  python3:python3
)
instruction_packages=(
  valgrind:valgrind
)
peer_packages=(
  gsoap:soapcpp2
  libgsoap-dev:/usr/include/stdsoap2.h
)
plot_packages=(
  gnuplot-nox:gnuplot
)
# clang with its sanitizers and libFuzzer. llvm-symbolizer gives names to the addresses in their reports.
clang_packages=(
  clang-14:clang++-14
  libclang-rt-14-dev:"/usr/lib/llvm-14/lib/clang/14.0.6/lib/linux/libclang_rt.fuzzer-$HOSTTYPE.a"
  llvm:llvm-symbolizer
)
check_packages=(
  clang-tidy-14:run-clang-tidy-14
  cppcheck:cppcheck
)
lint_packages=(
  eslint:eslint
  pylint:pylint
)
script_packages=(
  shellcheck:shellcheck
)
abi_packages=(
  abigail-tools:abidiff
  xz-utils:xz
)
coverage_packages=(
  gcovr:gcovr
)
memory_packages=(
  valgrind:valgrind
)
format_packages=(
  clang-format-14:clang-format-14
)

say() {
  printf '==> %s\n' "$*"
}

fail() {
  printf 'error: %s\n' "$*" >&2
  exit 1
}

# Prints those of the given "package:proof" whose proof is missing.
list_missing() {
  local entry proof
  for entry in "$@"; do
    proof=${entry#*:}
    if [[ $proof == /* ]]; then
      [[ -e $proof ]] || printf '%s\n' "${entry%%:*}"
    else
      command -v "$proof" >/dev/null || printf '%s\n' "${entry%%:*}"
    fi
  done
}

# Runs a command as root.
run_as_root() {
  if [[ $(id -u) -eq 0 ]]; then
    "$@"
  else
    sudo "$@"
  fi
}

# Runs apt-get as root, without questions.
run_apt_get() {
  # Its report of what it unpacks is of no interest; its errors are, and they come on the other stream.
  run_as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get -qq -y -o DPkg::Lock::Timeout=300 "$@" >/dev/null
}

# What the packages above bring as services of the system. The tests run these programs themselves.
services=(mosquitto nginx prometheus)

# What Debian's packages ask whether they may start a service: 101 is no.
policy_file=/usr/sbin/policy-rc.d

# Installs packages; none of their services is started, now or at the next start of the system.
install_without_services() (
  present=()
  for service in "${services[@]}"; do
    [[ ! -e /lib/systemd/system/$service.service ]] || present+=("$service")
  done
  if [[ ! -e $policy_file ]]; then
    trap 'run_as_root rm -f "$policy_file"' EXIT
    printf '#!/bin/sh\nexit 101\n' | run_as_root tee "$policy_file" >/dev/null
    run_as_root chmod 755 "$policy_file"
  fi
  run_apt_get install --no-install-recommends "$@" || exit
  for service in "${services[@]}"; do
    if [[ -e /lib/systemd/system/$service.service && " ${present[*]} " != *" $service "* ]]; then
      run_as_root systemctl --quiet disable "$service" 2>/dev/null || true
    fi
  done
)

# Installs those of the given "package:proof" that are missing; fails if it cannot. With KX_INSTALL=no it only says
# what is missing.
install_missing() {
  local missing
  mapfile -t missing < <(list_missing "$@" | sort -u)
  if [[ ${#missing[@]} -eq 0 ]]; then
    return 0
  fi
  if [[ ${KX_INSTALL-} == no ]]; then
    printf 'missing: %s\n' "${missing[*]}" >&2
    return 1
  fi
  if ! command -v apt-get >/dev/null; then
    printf 'error: not installed: %s\n' "${missing[*]}" >&2
    printf 'error: these are Debian packages, and this system has no apt-get: install them by hand\n' >&2
    return 1
  fi
  if [[ $(id -u) -ne 0 ]] && ! command -v sudo >/dev/null; then
    printf 'error: as root, run: apt-get update && apt-get install --no-install-recommends %s\n' "${missing[*]}" >&2
    return 1
  fi
  say "Installing with apt: ${missing[*]}"
  # A source that does not answer is no matter if the others have all that is missing.
  if ! run_apt_get -o APT::Update::Error-Mode=any update &&
    ! run_apt_get --simulate install --no-install-recommends "${missing[@]}" 2>/dev/null; then
    printf 'error: apt-get cannot fetch the lists of packages, see above: is there a network?\n' >&2
    return 1
  fi
  install_without_services "${missing[@]}"
}

# Set by a script that configures with more than the preset says.
preset_options=()
# Set by a script that builds less than all: --target and names.
build_targets=()

# Configures and builds one preset of CMakePresets.json. What configuring prints is shown only if it fails.
# Arguments behind the preset are a command that runs the build.
build_preset() {
  local preset=$1 report status=0
  shift
  cd "$project_dir" || return
  if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
  fi
  report=$(cmake --preset "$preset" "${preset_options[@]}" 2>&1) || status=$?
  if [[ $status -ne 0 ]]; then
    printf '%s\n' "$report" >&2
    return "$status"
  fi
  "$@" cmake --build --preset "$preset" "${build_targets[@]}"
}
