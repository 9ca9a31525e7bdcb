# The guest's half of the checks: each block is one command's whole output,
# parsed and compared on the host. Sourced by init.
run() { # name command...
  local name=$1
  shift
  echo "@@VB begin $name"
  "$@" 2>&1
  echo "@@VB end $name $?"
}
nic() { # driver -> interface
  local i
  for i in /sys/class/net/*; do
    [ "$(basename "$(readlink "$i/device/driver")" 2>/dev/null)" = "$1" ] && echo "${i##*/}" && return
  done
}

# GIC distributor: ID registers (read only) and the priorities of four
# interrupts nothing uses (read and write, restored after).
GIC_ID=0x08000fe0
GIC_PRIO=0x080004f0
run id.himd.l himd.l $GIC_ID 0x20
run id.himd himd $GIC_ID 0x20
run id.devmem sh -c "for o in 0 4 8 12 16 20 24 28; do devmem \$(($GIC_ID + o)) 32; done"
saved=$(for o in 0 4 8 12; do devmem $((GIC_PRIO + o)) 32; done)
run prio.himm himm $GIC_PRIO 0xa0908070
run prio.himm.devmem devmem $GIC_PRIO 32
devmem $GIC_PRIO 32 0x10203040
run prio.devmem.himd.l himd.l $GIC_PRIO 4
run prio.himc himc $GIC_PRIO 16 0x6050
run prio.himc.devmem sh -c "for o in 0 4 8 12; do devmem \$(($GIC_PRIO + o)) 32; done"
run prio.himdb sh -c "cd /tmp && himdb $GIC_PRIO 16 prio.bin && od -An -tx1 -v prio.bin"
o=0
for v in $saved; do
  devmem $((GIC_PRIO + o)) 32 "$v"
  o=$((o + 4))
done
run prio.restored sh -c "for o in 0 4 8 12; do devmem \$(($GIC_PRIO + o)) 32; done"
echo "@@VB saved" $saved

# The date chip, read by hwclock around the item, which sets it to 2015.
run rtc.before hwclock -r -u
run rtc.item tav_factory rtc
run rtc.after hwclock -r -u

# The AHCI disk through the IDE ioctls (sda) and through SG_IO (a name past
# sdh, mapped onto sda). The kernel's trace of each SCSI command's end shows
# what reached libata and what it answered.
echo /dev/sdi=/dev/sda >/tmp/devmap
T=/sys/kernel/tracing
mount -t tracefs tracefs $T
echo 1 >$T/events/scsi/scsi_dispatch_cmd_done/enable
for path in ide:/dev/sda sgio:/dev/sdi; do
  echo >$T/trace
  run disk.${path%%:*} sh -c "echo ${path#*:} | TAV_DEVMAP=/tmp/devmap tav_factory harddisk_info_test"
  run disk.${path%%:*}.trace sh -c "grep -o 'cmnd=(ATA_16.*' $T/trace"
done
echo 0 >$T/events/scsi/scsi_dispatch_cmd_done/enable
raw48=$(i=1; while [ $i -le 255 ]; do printf -- '-v %d,raw48 ' $i; i=$((i + 1)); done)
run disk.smartctl smartctl -i -c -A $raw48 /dev/sda
run disk.hdparm hdparm -I /dev/sda

# Both NICs: the PHY registers, a write (put back after), the link both ways
# and a reset.
E1000=$(nic e1000)
E1000E=$(nic e1000e)
for pair in "e1000 $E1000" "e1000e $E1000E"; do
  set -- $pair
  run mii.$1.mii-tool mii-tool -vv "$2"
  for r in 0 1 2 3 4 5 6; do run mii.$1.himii.r.$r himii.r "$2" 1 $r; done
  run mii.$1.phy.mdio tav_factory phy mdio "$2" 2
  run mii.$1.phy.link tav_factory phy link "$2"
  run mii.$1.ethtool ethtool "$2"
  ip link set "$2" down
  run mii.$1.phy.link.down tav_factory phy link "$2"
  run mii.$1.ethtool.down ethtool "$2"
  ip link set "$2" up
  run mii.$1.himii.w himii.w "$2" 1 4 0x01e1
  run mii.$1.himii.w.mii-tool mii-tool -vv "$2"
  himii.w "$2" 1 4 0x0de1 >/dev/null
  run mii.$1.mii-tool.R mii-tool -R "$2"
  run mii.$1.phy.reset tav_factory phy reset "$2"
  sleep 3
  run mii.$1.phy.link.reset tav_factory phy link "$2"
  run mii.$1.ethtool.reset ethtool "$2"
done

# The simulated NAND: one page with a corrected bit flip and one with an
# uncorrectable step, read once through ECC before the counters are asked.
if [ -e /dev/mtd0 ]; then
  echo /dev/tavmtd=/dev/mtd0 >>/tmp/devmap
  dd if=/dev/urandom of=/tmp/pages bs=2048 count=2 2>/dev/null
  nandwrite -q /dev/mtd0 /tmp/pages
  nandflipbits -q /dev/mtd0 0@0
  nandflipbits -q /dev/mtd0 0@2048 1@2049 2@2050 3@2051 4@2052 5@2053
  nanddump -q -l 4096 -f /dev/null /dev/mtd0 >/dev/null 2>&1
  run mtd.item env TAV_DEVMAP=/tmp/devmap tav_factory mtd_test ecc 0
  run mtd.sysfs sh -c 'cd /sys/class/mtd/mtd0 && for f in corrected_bits ecc_failures bad_blocks bbt_blocks; do echo "$f $(cat $f)"; done'
  run mtd.nanddump nanddump -l 2048 -f /dev/null /dev/mtd0
fi

# disk_perf beside dd on the virtio disk.
run perf.item tav_factory disk_perf /dev/vda D 1 0 1M 256
run perf.dd time dd if=/dev/vda of=/dev/null bs=1M count=256 iflag=direct
# The host filled the disk's first 64 MiB with 'Z': a writer's zeros show
# where and how much it wrote.
run perf.write tav_factory disk_perf /dev/vda D 0 1 1M 32
run perf.write.dd sh -c 'zero=$(head -c 1048576 /dev/zero | md5sum); n=0
  while [ $n -lt 64 ] && [ "$(dd if=/dev/vda bs=1M skip=$n count=1 iflag=direct 2>/dev/null | md5sum)" = "$zero" ]; do
    n=$((n + 1))
  done
  echo "zero MiB from 0: $n"'

# Last: the watchdog item arms the watchdog and stops feeding it; the reset
# ends the guest, and the host times it.
if ! grep -q vboard.nowatchdog /proc/cmdline; then
  run watchdog tav_factory watchdog
fi
