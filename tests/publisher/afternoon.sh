#!/usr/bin/env bash
# A publisher's afternoon: from an empty folder to a host that has updated itself from it.
#     afternoon.sh PUBLISH OLD_HOST NEW_HOST LIBRARY INSTALLER
set -euo pipefail
publish=$1 old_host=$2 new_host=$3 library=$4 installer=$5
root=$(mktemp -d)
server=
# shellcheck disable=SC2317 # the trap calls it
tidy() {
    if [ -n "$server" ]; then kill "$server"; fi
    # The new version may still be on its way out of the folder.
    for _ in 1 2 3 4 5; do rm -rf "$root" && return || sleep 1; done
}
trap tidy EXIT
cd "$root"
mkdir -p release host/"Camera Desk" build/CameraDesk tmp

fail() {
    echo "FAILED: $*" >&2
    exit 1
}
expect() { # TEXT COMMAND...: the command succeeds and says that
    local text=$1 output
    shift
    output=$("$@") || fail "$* ended with $?: $output"
    grep -qF -- "$text" <<<"$output" || fail "no '$text' in what $* said: $output"
}
refuse() { # TEXT COMMAND...: the command fails and says that
    local text=$1 output
    shift
    if output=$("$@" 2>&1); then fail "$* ended well: $output"; fi
    grep -qF -- "$text" <<<"$output" || fail "no '$text' in what $* said: $output"
}

# What was built: two products and firmware.
for target in "build/CameraDesk" "host/Camera Desk"; do
    cp "$library" "$installer" "$target"
done
cp "$old_host" "host/Camera Desk/CameraDesk"
cp "$new_host" build/CameraDesk/CameraDesk
expect "camera-desk-4.3.0.zip" "$publish" pack build/CameraDesk release/camera-desk-4.3.0.zip
head -c 20000 "$new_host" >release/camera-desk-4.3.0.exe
head -c 30000 "$new_host" >release/camera-viewer-2.0.exe
head -c 40000 "$new_host" >"release/kestrel 1.1.bin"

# Port 0: a free one, which the document has to know.
"$publish" serve --port 0 release >server.log &
server=$!
for _ in $(seq 100); do grep -q '^serving' server.log && break || sleep 0.1; done
url=$(sed -n 's/^serving .* at \(http:[^;]*\);.*/\1/p' server.log)

document=release/updates.xml
expect "packages added: 2" "$publish" add "$document" release/camera-desk-4.3.0.{zip,exe} --name "Camera Desk" \
    --release 4.3.0 --platform "Win32 Win64" --language "en de fr" --base-url "$url"
viewer=(release/camera-viewer-2.0.exe --name "Camera Viewer" --release 2.0 --platform Win64 --status BETA)
expect "packages added: 1" "$publish" add "$document" "${viewer[@]}"
cp "$document" before.xml
refuse "nothing was added" "$publish" add "$document" "${viewer[@]}"
refuse "is not a file" "$publish" add "$document" release/missing.exe --name X --release 1 --platform Win64
cmp before.xml "$document" || fail "what was refused has changed the document"
expect "packages added: 1" "$publish" add "$document" "release/kestrel 1.1.bin" --type "Camera Firmware" \
    --name "Kestrel firmware" --release 1.1 --platform Kestrel-3 --language fr
grep -qF '"kestrel%201.1.bin"' "$document" || fail "not an address: $(grep kestrel "$document")"
expect "nothing found" "$publish" lint "$document"
echo '<softwareList><package/></softwareList>' >bad.xml
refuse "has no \"url\"" "$publish" lint bad.xml
expect "nothing found" "$publish" lint "${url}updates.xml"

# Three users.
expect "Camera Desk 4.3.0" "$publish" preview "$document" --product "Camera Desk" --version 4.2
expect "up-to-date" "$publish" preview "$document" --product "Camera Viewer" --version 1.9
expect "(hidden until" "$publish" preview "$document" --product "Camera Viewer" --version 1.9 --beta \
    --camera Kestrel-3=1.0 --language de

"$publish" keys desk --no-password >keys.log
[ -z "$(find desk.key ! -perm 600)" ] || fail "others can read the secret key"
echo >empty
refuse "without a password" "$publish" keys other --password-file empty
refuse "desk.key exists" "$publish" keys desk --no-password
key=$(sed -n 's/^for setPackagePublicKeys(): //p' keys.log)
expect "camera-desk-4.3.0.zip.minisig" "$publish" sign --key desk.key --document "$document" \
    release/camera-desk-4.3.0.{zip,exe}
grep -q "release:4.3.0" release/camera-desk-4.3.0.zip.minisig || fail "a signature for any release"
refuse "server.log is not in" "$publish" sign --key desk.key --document "$document" server.log
refuse "missing.exe:" "$publish" sign --key desk.key --release 1 release/missing.exe

export TMPDIR=$root/tmp
CAMERA_DESK_ARGUMENTS=$(printf '%s\n' --self-update --server-url "${url}updates.xml" --public-key "$key" \
    --settings "$root/settings.ini" --report "$root/report" --language en)
export CAMERA_DESK_ARGUMENTS
"host/Camera Desk/CameraDesk" >host.log 2>&1 || fail "the old version: $(cat host.log)"
for _ in $(seq 300); do grep -q "4.3.0 up to date" report && break || sleep 0.1; done
grep -q "4.3.0 up to date" report || fail "no update: $(cat report host.log server.log)"
cmp "$new_host" "host/Camera Desk/CameraDesk" || fail "it is not the new version that is there"
# Only the program has changed; the library and UpdateInstaller were there already.
grep -q "camera-desk-4.3.0.zip.manifest.minisig -> 200" server.log || fail "nobody asked for the manifest's signature"
grep -q "camera-desk-4.3.0.zip -> 206" server.log || fail "no range was asked for: $(cat server.log)"
if grep -q "camera-desk-4.3.0.zip -> 200" server.log; then fail "the whole package was fetched"; fi
expect "is Camera Desk 4.3.0, file by file" "$publish" verify "host/Camera Desk" --key desk.pub \
    --manifest release/camera-desk-4.3.0.zip.manifest
expect "is Camera Desk 4.3.0, file by file" "$publish" verify "host/Camera Desk"
echo "the host has updated itself from what was published"
