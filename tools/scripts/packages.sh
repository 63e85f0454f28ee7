# shellcheck shell=bash
# Sourced by ./run and ./test: brings in the Debian packages that packages.txt lists.

# Prints the packages of the list $1 that are not installed.
missing_packages() {
  local wanted installed
  wanted=$(sed 's/#.*//' "$1" | tr -s '[:space:]' '\n' | grep . | sort -u)
  # It fails when it does not know one of them.
  # shellcheck disable=SC2086 # one argument a package
  installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' $wanted 2>/dev/null || true)
  installed=$(sed -n 's/^installed //p' <<<"$installed" | sort -u)
  comm -23 <(printf '%s\n' "$wanted") <(printf '%s\n' "$installed")
}

apt_install() {
  DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "$@" </dev/null
}

# Installs what is missing of the list $1, or says what to install and fails.
install_missing_packages() {
  local missing
  if ! command -v dpkg-query >/dev/null; then
    echo "No Debian packages here: $1 lists what must be there." >&2
    return 0
  fi
  mapfile -t missing < <(missing_packages "$1")
  [ "${#missing[@]}" -gt 0 ] || return 0
  if [ "$(id -u)" -ne 0 ]; then
    echo "Missing packages. As root: apt-get install ${missing[*]}" >&2
    return 1
  fi
  echo "Installing ${missing[*]}"
  # The package lists may be absent or too old; then they are fetched once.
  apt_install "${missing[@]}" >/dev/null 2>&1 || { apt-get update -q </dev/null && apt_install "${missing[@]}"; }
}
