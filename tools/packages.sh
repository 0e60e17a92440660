# SPDX-License-Identifier: MIT
# Debian packages by purpose, and their installation. Sourced by run and test.
# Each line: package, then why it is needed. Only what is missing is installed.

packages_build='
g++                          compiles the native program
cmake                        describes the build
ninja-build                  runs the build
libxml2-dev                  reads and writes the XML indexes
zlib1g-dev                   CRC-32
libssl-dev                   TLS
ca-certificates              whom TLS trusts
libcli11-dev                 command line of quillbeaker-cli
nlohmann-json3-dev           JSON output of quillbeaker-cli
libxxhash-dev                tells mails apart in bulk learning
libgtest-dev                 unit tests
python3                      the demonstration and the checks of the sources
'
packages_demo='
dovecot-core                 the POP3 server that the demonstration checks mail at
dovecot-pop3d                its POP3 part
mpop                         the mail client of the demonstration
'
packages_unit='
clang-format                 holds the layout of the sources
'
packages_test='
openssl                      makes the certificates of the end-to-end tests
curl                         mail client of the end-to-end tests
fetchmail                    mail client of the end-to-end tests
python3-pytest               runs the end-to-end tests
python3-pytest-xdist         the same on all cores
'
packages_torture='
openssl                      makes the certificate for the mail server of the torture
'
packages_windows='
g++-mingw-w64-x86-64-posix   compiles the Windows program
binutils-mingw-w64-x86-64    links it
libz-mingw-w64-dev           CRC-32 for Windows
librsvg2-bin                 draws the icons and the pictures of the toolbars
googletest                   unit tests for Windows, as source
dpkg-dev                     unpacks the source package of libxml2
wine                         runs the Windows tests
wine64                       runs the Windows tests
fonts-wine                   Tahoma, which Windows draws its dialogs with
fonts-liberation             Arial
fonts-dejavu-core            every other letter
xvfb                         a screen for the Windows program
openbox                      its window manager
trayer                       its notification area
xdotool                      the mouse and the keyboard
x11-utils                    tells where windows are
x11-xserver-utils            the colour behind the windows
imagemagick                  pictures of the screen
'
packages_bench='
libbenchmark-dev             benchmarks of the parts
bogofilter                   the filter that whole-program speed is compared with
time                         peak memory of a program
strace                       counts system calls
'
packages_derive='
python3-numpy                deriving the shipped spam words
python3-scipy                deriving the shipped spam words
wamerican                    tells words from names and fragments there
'
packages_fuzz='
clang                        compiles the fuzz targets
libclang-rt-14-dev           libFuzzer itself
'
packages_coverage='
clang                        compiles the tests with counters
libclang-rt-14-dev           the counters
llvm                         reads them
'

package_is_installed() {
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# Installing Dovecot would start a mail server for the whole machine, now and at every start. The
# demonstration only wants the program, so the start is refused while we install (Debian's own means for
# that) and the service is taken out of the machine's start.
without_starting_services() {
  local policy=/usr/sbin/policy-rc.d made='' new_dovecot='' status=0
  package_is_installed dovecot-core || new_dovecot=1
  if [ ! -e "$policy" ]; then
    printf '#!/bin/sh\nexit 101\n' | as_root tee "$policy" >/dev/null
    as_root chmod 755 "$policy"
    made=1
  fi
  "$@" || status=$?
  if [ -n "$made" ]; then as_root rm -f "$policy"; fi
  if [ -n "$new_dovecot" ] && [ -d /run/systemd/system ]; then
    as_root systemctl -q disable --now dovecot.socket dovecot.service 2>/dev/null || true
  fi
  return $status
}

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

# ensure_packages GROUP...: installs the missing packages of the groups (build, demo, unit, test, torture, windows, fuzz,
# bench, derive, coverage).
ensure_packages() {
  local group table package why missing=()
  for group in "$@"; do
    table=packages_$group
    while read -r package why; do
      if [ -n "$package" ] && ! package_is_installed "$package"; then
        [ ${#missing[@]} -gt 0 ] || echo "Installing Debian packages:"
        missing+=("$package")
        printf '  %-28s %s\n' "$package" "$why"
      fi
    done <<<"${!table}"
    # npm may be there from elsewhere, and Debian's package would then not go beside it.
    if [ "$group" = demo ] && ! command -v npm >/dev/null; then
      [ ${#missing[@]} -gt 0 ] || echo "Installing Debian packages:"
      missing+=(npm)
      printf '  %-28s %s\n' npm "fetches the sample mail"
    fi
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  if [ "$(id -u)" != 0 ] && ! command -v sudo >/dev/null; then
    echo "This needs root. Please run: apt-get install --no-install-recommends ${missing[*]}" >&2
    return 1
  fi
  local log
  log=$(mktemp)
  if as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq update >"$log" 2>&1 &&
     without_starting_services as_root env DEBIAN_FRONTEND=noninteractive \
       apt-get -qq install -y --no-install-recommends "${missing[@]}" >"$log" 2>&1; then
    rm -f "$log"
  else
    tail -30 "$log" >&2
    echo "The installation failed; the whole output is in $log" >&2
    return 1
  fi
}
