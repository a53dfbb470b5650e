#!/bin/bash
# package_trial.sh: installs the packages of out/package in a bare Debian of its own, and tries them there: two users at a
# time, an upgrade over their running agents, the removal. Fails at the first thing that isn't as it should be.
set -euo pipefail
script=$(realpath "$0")
packages=$(dirname "$script")/../out/package

# The packages once more under a higher version, all else being equal.
raise_version() {
  local package
  for package in "$1"/*.deb; do
    dpkg-deb -R "$package" "$1/unpacked"
    sed -i -E '/^(Version|Depends):/s/('"$2"')/\1+1/' "$1/unpacked/DEBIAN/control"
    dpkg-deb -b "$1/unpacked" "${package/$2/$2+1}" >/dev/null
    rm -r "$1/unpacked"
  done
}

# Made anew for each trial, and gone with it.
make_root() {
  local root version
  root=$(mktemp -d)
  trap "rm -rf --one-file-system '$root'" EXIT
  debootstrap --variant=minbase bookworm "$root" >"$packages/debootstrap.log"
  chmod 755 "$root"
  mkdir "$root/packages"
  cp "$packages"/*.deb "$root/packages"
  version=$(dpkg-deb -f "$(echo "$packages"/zelmo-dockset-agent_*.deb)" Version)
  raise_version "$root/packages" "$version"
  cp "$script" "$root/packages/trial.sh"
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  # Processes, mounts and what is in memory are its own; all that was started there ends with the trial.
  unshare --mount --pid --ipc --fork --kill-child "$script" enter "$root" "$version"
}

enter() {
  local root=$1 device
  mount -t proc proc "$root/proc"
  mount -t tmpfs -o mode=755 devices "$root/dev"
  for device in null zero random urandom; do
    cp -a "/dev/$device" "$root/dev/"
  done
  mkdir "$root/dev/shm"
  mount -t tmpfs -o mode=1777 memory "$root/dev/shm"
  mount -t tmpfs -o mode=755 run "$root/run"
  # The end of this shell, the first process there, is the end of all others.
  chroot "$root" /bin/bash /packages/trial.sh try "$2"
}

install() { DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$@" >>/packages/apt.log 2>&1; }
as() { runuser -u "$1" -- env -i -C / "HOME=/home/$1" "XDG_RUNTIME_DIR=/run/$1" PATH=/usr/bin:/bin LANG=C.UTF-8 "${@:2}"; }
agents() { ls -l /proc/[0-9]*/exe 2>/dev/null | grep -c 'zelmo-dockset/ZelmoDocksetAgent' || true; }
logged() { grep -rqs "$2" "/home/$1/Documents/Tavrin/Zelmo Dockset/logs"; }

# eventually COMMAND...: waits until it succeeds.
eventually() {
  local turn
  for turn in {1..100}; do
    ! "$@" || return 0
    sleep 0.1
  done
  echo "waited in vain: $*" >&2
  return 1
}

try() {
  local user
  apt-get update -qq
  install "/packages/zelmo-dockset-agent_$1"_*.deb
  for user in ana ben; do
    useradd --create-home "$user"
    install_runtime "$user"
    as "$user" ZelmoDocksetAgent &
    eventually as "$user" zdpost ZelmoDocksetAgent 0 2>/dev/null
  done
  echo "two users have an agent each"
  as ana ZelmoDocksetAgent
  eventually logged ana "Another instance is running. Exiting."
  as ana zdpost ZelmoDocksetAgent 273 1
  eventually logged ana "autoupdate Failed to launch Zelmo Dockset"
  install "/packages/zelmo-dockset-demo_$1"_*.deb
  as ana zdpost ZelmoDocksetAgent 273 1
  eventually logged ana "started"
  echo "the main application is started where it is installed, and only there"
  install /packages/zelmo-dockset-{agent,demo}_"$1+1"_*.deb
  [ "$(agents)" = 2 ]
  as ben zdpost ZelmoDocksetAgent 273 1
  eventually logged ben "started"
  echo "the agents go on while their package is upgraded"
  apt-get purge -y -qq zelmo-dockset-agent >>/packages/apt.log 2>&1
  [ "$(agents)" = 0 ]
  eventually logged ana "joining scanner thread"
  eventually logged ben "joining scanner thread"
  grep -qx "TryExec=/usr/lib/zelmo-dockset/ZelmoDocksetAgent" /home/ana/.config/autostart/ZelmoDocksetAgent.desktop
  echo "the agents end with their package; what stays:"
  find / -path /proc -prune -o -path /packages -prune -o \( -iname '*zelmo*' -o -name Tavrin \) -prune -print
}

install_runtime() {
  mkdir -m 700 "/run/$1"
  chown "$1" "/run/$1"
}

if [ $# -gt 0 ]; then
  "$@"
elif [ "$(id -u)" -eq 0 ]; then
  make_root
else
  sudo "$script"
fi
