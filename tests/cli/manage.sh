#!/bin/sh
# Manages the jobs of a machine by JSON alone: manage.sh KAVRELCTL HOME SOURCE DEST. For each folder of
# SOURCE there is to be a job of its name, switched on, that has run well; other jobs go.
set -u
command -v jq >/dev/null || exit 77
kavrelctl=$1 home=$2 source=$3 dest=$4
ctl() { "$kavrelctl" --home "$home" "$@"; }
fail() {
  echo "$*"
  exit 1
}

# A job that should be there no more, and one whose settings are wrong.
ctl add --name old --source "$source" --dest "$dest/old" --enable
ctl add --name docs --source "$source/docs" --dest "$dest/docs" --every 2h

# Make what is missing.
for folder in "$source"/*/; do
  name=$(basename "$folder")
  ctl list --json | jq -e --arg name "$name" 'any(.[]; .name == $name)' >/dev/null ||
    ctl add --name "$name" --source "$folder" --dest "$dest/$name" || fail "cannot make $name"
done

# Remove what should not be there.
ctl list --json | jq -r '.[].name' | while read -r name; do
  [ -d "$source/$name" ] || ctl remove "$name"
done

# Set right what differs from what all should be like.
ctl list --json | jq -r '.[] | select(.enabled and .every.days == 1 | not) | .name' |
  while read -r name; do
    ctl edit "$name" --enable --every 1d --start 01:00
  done
ctl list --json | jq -e 'length == 2 and all(.[]; .enabled and .every.days == 1)' >/dev/null ||
  fail "the jobs are not as they should be"

# Run what has never run well.
ctl status --json | jq -r '.jobs[] | select(.last_success == null) | .name' >"$home/todo"
while read -r name; do
  ctl run "$name" --json | jq -e '.runs[0] | .result == "ok" and .bytes > 0' >/dev/null ||
    fail "$name did not run"
done <"$home/todo"

# Is what was backed up there? And is a change found, named and backed up?
ctl verify docs pictures --json | jq -e '.exit_code == 0' >/dev/null || fail "it differs"
echo changed >"$source/docs/a.txt"
ctl verify docs --json |
  jq -e '.runs[0].differences | length == 1 and (.[0].path | endswith("a.txt"))' >/dev/null ||
  fail "the change was not found"
steps=$(ctl preview docs --json | jq '[.steps[] | select(.action == "replace")] | length')
[ "$steps" = 1 ] || fail "$steps files would be replaced"
ctl run docs --progress json | tail -n 1 | jq -e '.runs[0].copied == 1' >/dev/null ||
  fail "the change was not backed up"

# The history has it all: two first runs, two verifications, one more run and its verification.
ctl log --json | jq -e '[.[] | select(.kind == "backup" and .result == "ok")] | length == 3' \
  >/dev/null || fail "the history is wrong"
ctl status --json | jq -e '.well' >/dev/null || fail "not all is well"
ctl status -q || fail "the exit code disagrees"
echo "all is well"
