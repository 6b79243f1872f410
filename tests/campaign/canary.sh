#!/bin/sh
# canary.sh CANARY SEEDS: the list of runs must find the planted fault, by a shot that is lost, or it protects nothing.
found=$("$1" --replay "$2")
status=$?
echo "$found"
[ "$status" -eq 1 ] && echo "$found" | grep -q 'FOUND: a saved shot is gone\|FOUND: saved and not whole'
