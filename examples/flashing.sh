#!/bin/sh
# Copies an image to a device (or any file) with its progress on the console.
#     flashing.sh IMAGE DEVICE
# velkarisctl finds the console itself; VELKARIS_NODE names another one.
set -eu

if [ $# -ne 2 ]; then
    echo "usage: flashing.sh IMAGE DEVICE" >&2
    exit 2
fi
image=$1
device=$2

velkarisctl wait --seconds 10
velkarisctl status "Flashing - do not switch off"
velkarisctl percent 1

# Any program: its output becomes lines, percents in it move the item, its status is ours.
velkarisctl run --item image --label "Image" -- \
    dd if="$image" of="$device" bs=1M conv=fsync status=progress

velkarisctl add compare "Read back"
if ! cmp "$image" "$device"; then
    velkarisctl status "Failed: what was read back differs"
    exit 1
fi

# Scripts written for a progress dialog work unchanged.
printf 'XXX\n100\nRead back and compared\nXXX\n' | velkarisctl gauge compare "Read back"

velkarisctl percent 100
velkarisctl status "Done"
