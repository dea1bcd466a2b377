#!/usr/bin/env bash
# What somebody put at the program's paths is never replaced, followed or
# changed: state files linked to a device node or a FIFO keep that node, and
# links planted at the names the program uses in the temporary folder leave
# their target as it was. Nodes and targets live in a scratch folder.
source "$(dirname "$0")/lib.sh"

: "${ZRUPDATE_TMP_DIR:?}" "${ZRUPDATE_WORK_DIR:?}" "${ZRUPDATE_DELAY_STATUS_FILE:?}"
[[ $(id -u) == 0 ]] || { echo "SKIP: making device nodes needs root"; exit 0; }

nodes="$ZR_SCRATCH/nodes"
mkdir -p "$nodes" && mknod "$nodes/char" c 1 3 && mkfifo "$nodes/fifo"
REGISTER="-r --id 7 --name Seven --path /opt/7 --version 7.0"
for file in zr-inventory zr-network zr-module-inventory zr-module-network \
            zr-delay-packages zr-partial-files; do
  for node in char fifo; do
    fresh_home
    cp "$CONF/zr-inventory" "$CONF/zr-module-inventory"
    cp "$CONF/zr-network" "$CONF/zr-module-network"
    before="$(stat -c '%F %i %t:%T' "$nodes/$node")"
    ln -sf "$nodes/$node" "$CONF/$file"
    for args in "$REGISTER" "-d --id 7 --name Seven" "-S --timeout 9" "-M $REGISTER" \
                "-M -S --timeout 9" "-P" "-u"; do
      # shellcheck disable=SC2086 # the words of one command line
      timeout 20 "$ZRUPDATE_BIN" $args >/dev/null 2>&1
      [[ $? != 124 ]] || fail "ZRUpdate $args hangs on $file linked to a $node"
    done
    assert_eq "$before" "$(stat -c '%F %i %t:%T' "$nodes/$node")" "$file linked to a $node"
  done
done
# A default document that cannot be written into its FIFO is a failure.
zr -u
assert_eq 254 "$RC" "default document on a FIFO nobody reads"

# Links at every name the program uses in the temporary folder, pointing at
# a private file of root.
fresh_home
target="$ZR_SCRATCH/precious"
echo "not for the updater" >"$target" && chmod 0600 "$target"
fingerprint() { echo "$(stat -c '%a %U %G %s %Y' "$target") $(md5sum <"$target")"; }
before="$(fingerprint)"
planted=("$ZRUPDATE_TMP_DIR/zrupdate.log.lock" "$ZRUPDATE_TMP_DIR/zrupdate.log.rlock"
         "$ZRUPDATE_WORK_DIR" "$ZRUPDATE_DELAY_STATUS_FILE")
for name in "${planted[@]}"; do
  rm -rf "$name" && ln -s "$target" "$name" && add_cleanup "rm -rf '$name'"
done
for args in "-h" "$REGISTER" "-s" "-v --id 7" "-S" "-S --timeout 9" "-M -S" "-P" \
            "-P --action status" "-u" "-p" "-d --id 7 --name Seven" "-s --debug"; do
  # shellcheck disable=SC2086
  zr $args
done
assert_eq "$before" "$(fingerprint)" "planted link target"
# The log's lock files are used without the link; the work directory and the
# status file are the program's own names: the link there is cleared away.
for name in "${planted[@]:0:2}"; do [[ -L "$name" ]] || fail "$name is no longer the planted link"; done
[[ -d "$ZRUPDATE_WORK_DIR" && ! -L "$ZRUPDATE_WORK_DIR" ]] || fail "work directory not claimed"
assert_log_line "warning	log lock file not used, writing without it: $ZRUPDATE_TMP_DIR/zrupdate.log.lock: is a symbolic link" \
  "refused lock file"
echo "hostile_paths: all passed"
