#!/bin/bash
# The life of the service in the system that try_package.sh boots. Its last line says that it went well.
set -euo pipefail
trap 'echo "NOT AS EXPECTED: line $LINENO: $BASH_COMMAND"; journalctl -u tarnscale@plant --no-pager' ERR

plant=/etc/tarnscale/plant.scl
log=/var/log/tarnscale/plant/prints.log
until_true() { # COMMAND...
  for _ in {1..300}; do
    ! "$@" >/dev/null 2>&1 || return 0
    sleep 0.1
  done
  "$@"
}
says() { systemctl status --no-pager tarnscale@plant | grep -q "Status: \"$1"; }
is_property() { [ "$(systemctl show -P "$1" tarnscale@plant)" = "$2" ]; }
journal_says() { journalctl -u tarnscale@plant --no-pager | grep -q -- "$1"; }

echo "-- starts, and says how it fares"
tarnsim continuous --port /run/line1 --load "load 12.5" --print-every 0.5 >/run/tarnsim.log &
until_true grep -q ready /run/tarnsim.log
chgrp dialout "$(readlink -f /run/line1)"
chmod 660 "$(readlink -f /run/line1)"
tarnscale set $plant 1 alias=Packing connection=serial port=1 device=/run/line1 \
  protocol=continuous type=standard enabled=yes -q
mkdir -p /run/systemd/system/tarnscale@.service.d
printf '[Service]\nWatchdogSec=2\nRestartSec=1\n' >/run/systemd/system/tarnscale@.service.d/trial.conf
systemctl daemon-reload
systemctl enable --now tarnscale@plant 2>&1
until_true says "1 of 1 scales good"
until_true test -s $log
systemctl status --no-pager tarnscale@plant | head -n 12

echo "-- takes new settings"
tarnscale set $plant 2 alias=Gate connection=serial port=2 device=/run/nothing \
  protocol=continuous type=standard enabled=yes -q
systemctl reload tarnscale@plant
until_true says "1 of 2 scales good; 2 (Gate): "
journal_says "new settings for Scale 2 (Gate); the others run on"
cp $plant /root/plant.scl
echo nonsense >$plant
systemctl reload tarnscale@plant
until_true journal_says "is not reloaded"
until_true says "1 of 2 scales good"
cp /root/plant.scl $plant

echo "-- has its log rotated"
logrotate --force /etc/logrotate.d/tarnscale
until_true test -s $log
ls -l /var/log/tarnscale/plant/

echo "-- is started again when its loop stands still"
kill -STOP "$(systemctl show -P MainPID tarnscale@plant)"
until_true is_property NRestarts 1
until_true says "1 of 2 scales good"

echo "-- is restarted by an upgrade"
former=$(systemctl show -P MainPID tarnscale@plant)
dpkg -i /packages/new.deb
until_true says "1 of 2 scales good"
[ "$(systemctl show -P MainPID tarnscale@plant)" != "$former" ]
journalctl -u tarnscale@plant --no-pager | tail -n 30

echo "-- ends with a removal, and leaves nothing at a purge but the user's settings"
dpkg -r tarnscale
until_true is_property ActiveState inactive
[ -s $log ]
[ -s $plant ]
dpkg -P tarnscale 2>&1
left=$(ls -d /var/*/tarnscale /var/*/private/tarnscale /etc/systemd/system/*.wants/tarnscale@* 2>&1 |
  grep -v 'cannot access' || true)
[ -z "$left" ]
[ -s $plant ]
echo "the service is as expected"
