#!/usr/bin/env bash
# Usage: client_test.sh PATH-TO-norvik-cloud
set -uo pipefail
client="$1"
work="$(mktemp -d /tmp/norvik-client-test.XXXXXX)"
trap 'rm -rf "$work"' EXIT
failures=0 passes=0
check() { # check NAME COMMAND...
    local name="$1"; shift
    if "$@"; then passes=$((passes + 1)); else echo "FAILED: $name"; failures=$((failures + 1)); fi
}
nc() { "$client" --local "$work/storage" "$@"; }

# A tree with the awkward cases: nesting, empty file and folder, odd names, modes, a file
# spanning several parts and one larger than the single-upload limit.
src="$work/src"
mkdir -p "$src/a/b/c" "$src/empty dir" "$src/ümlaut ✓" "$src/-x"
printf 'one\n' > "$src/a/one.txt"
: > "$src/a/b/empty"
printf 'percent\n' > "$src/ümlaut ✓/50% #1 (copy).txt"
printf 'q\n' > "$src/-x/it's \"q\".txt"
head -c 1234567 /dev/urandom > "$src/a/b/c/mid.bin"
head -c $((20 * 1024 * 1024 + 3)) /dev/urandom > "$src/large.bin"
chmod 640 "$src/a/one.txt"; chmod 711 "$src/a/b/c/mid.bin"; chmod 400 "$src/large.bin"

check "backup exits 0" nc backup "$src" /set1
check "restore exits 0" nc restore /set1 "$work/out"
check "restored tree is byte-identical" diff -r "$src" "$work/out"
modes() { (cd "$1" && find . -type f -printf '%m %P\n' | sort); }
check "file modes survive" diff <(modes "$src") <(modes "$work/out")
check "empty folder survives" test -d "$work/out/empty dir"

# Ranged and whole downloads.
nc get /set1/a/b/c/mid.bin "$work/range" --range 1000-1999
check "range gives 1000 bytes" test "$(stat -c %s "$work/range")" -eq 1000
check "range gives the right bytes" cmp "$work/range" <(tail -c +1001 "$src/a/b/c/mid.bin" | head -c 1000)

# Multipart put with an explicit part size, then listing page by page.
check "multipart put" nc put "$work/src/a/b/c/mid.bin" /multi/mid.bin --multipart --chunk-size 200000
nc get /multi/mid.bin "$work/mid.back"
check "multipart object is byte-identical" cmp "$work/mid.back" "$src/a/b/c/mid.bin"
check "ls pages through everything" test "$(nc ls set1 --all --max 2 | grep -c '^[-d] ')" -eq 7
check "cat writes the object" cmp <(nc cat /set1/large.bin) "$src/large.bin"
check "ls names start without a slash" test "$(nc ls /set1/a/ | awk '{print $NF}' | grep -c '^set1/a/')" -ge 1

# Errors: the library's code and message, and a non-zero exit.
out="$(nc get /set1/missing "$work/missing" 2>&1)"; rc=$?
check "missing object fails with status 1" test $rc -eq 1
check "failure prints the library's error code" grep -q 'error [0-9]\+: ' <<<"$out"
check "failed download leaves no file" test ! -e "$work/missing"
nc frobnicate >/dev/null 2>&1; rc=$?
check "unknown command gives status 2" test $rc -eq 2
nc get /only-one-arg >/dev/null 2>&1; rc=$?
check "wrong argument count gives status 2" test $rc -eq 2
echo '{"CloudType": "NoSuchCloud"}' > "$work/bad.json"
"$client" --config "$work/bad.json" ls >/dev/null 2>&1; rc=$?
check "bad configuration gives status 2" test $rc -eq 2
help="$("$client" --help)"
for command in put get ls rm multi-rm mkdir sign containers check backup restore; do
    check "--help explains $command" grep -q "^  $command" <<<"$help"
done

# A configuration file naming the same local folder storage.
printf '{"CloudType": "FileSystem", "Path": "%s"}\n' "$work/storage" > "$work/fs.json"
check "config file reaches the same storage" bash -c "'$client' --config '$work/fs.json' ls set1/a --all | grep -q one.txt"
check "sign gives a URL" bash -c "'$client' --local '$work/storage' sign /set1/a/one.txt | grep -q '^file://'"
check "mkdir" nc mkdir /made
check "rm" nc rm /set1/a/one.txt
nc get /set1/a/one.txt "$work/gone" >/dev/null 2>&1; rc=$?
check "removed object is gone" test $rc -eq 1
check "check config" nc check

echo "$passes passed, $failures failed"
test $failures -eq 0
