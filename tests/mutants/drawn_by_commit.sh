#!/usr/bin/env bash
# drawn_by_commit.sh SOURCE BUILD PROGRAM: ten rows of the list, drawn by the commit, or by the list where there is none.
commit=$(git -c safe.directory="$1" -C "$1" rev-parse HEAD) || commit=$(cat "$1"/tests/mutants/*.txt | sha1sum)
echo "drawn by $commit"
exec "$3" --source "$1" --build "$2" --sample 10 --seed "$commit"
