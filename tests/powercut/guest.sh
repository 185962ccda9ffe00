#!/bin/sh
# The first program of the virtual machine: loads what the disks need, then does what the
# other side of the port says, a command a line.
export PATH=/bin:/usr/bin HOME=/root LC_ALL=C.UTF-8
/bin/busybox mount -t proc proc /proc
/bin/busybox mount -t sysfs sysfs /sys
/bin/busybox mount -t devtmpfs devtmpfs /dev
load() {
  while read -r module; do
    # Not twice: file systems share some.
    [ -e "/loaded.$module" ] || { insmod "/modules/$module" && : >"/loaded.$module"; }
  done <"/modules/$1"
}
load start
# The port comes, and can be opened, when the other side has been asked about it. On a busy machine
# that takes a while, and this shell ends where it cannot open it.
until (exec 3<>/dev/vport0p1) 2>/dev/null; do sleep 0.1; done
exec 3<>/dev/vport0p1
echo ready >&3
while read -r line <&3; do
  (eval "$line") >&3 2>&1 3>&- </dev/null
  # This is what tells the other side that a command has ended, so nothing may come before it.
  echo "|end $?" >&3
done
