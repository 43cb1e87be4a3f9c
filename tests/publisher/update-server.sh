#!/usr/bin/env bash
# The published nginx configuration with a real nginx: update-server.sh PUBLISH SOURCE_DIR
set -euo pipefail
publish=$1 source=$2
command -v nginx >/dev/null || {
    echo "SKIP: nginx is not installed"
    exit 77
}
root=$(mktemp -d)
trap 'kill "$(cat "$root/pid" 2>/dev/null)" 2>/dev/null; rm -rf "$root"' EXIT
# Started by root, the server works as somebody else.
chmod 755 "$root"
mkdir "$root/site" "$root/tmp"
cp "$source/docs/examples/products-and-firmware.xml" "$root/site/updates.xml"
gzip -9k "$root/site/updates.xml"
head -c 100000 /dev/zero >"$root/site/package.exe"

start() { # PORT
    sed -e "s|listen 80;|listen 127.0.0.1:$1;|" -e "s|/srv/updates|$root/site|" \
        "$source/docs/examples/update-server.conf" >"$root/server.conf"
    {
        printf 'pid %s/pid;\nerror_log %s/errors;\nevents {}\nhttp {\n' "$root" "$root"
        for kind in client_body proxy fastcgi uwsgi scgi; do echo "${kind}_temp_path $root/tmp;"; done
        printf 'include %s/server.conf;\n}\n' "$root"
    } >"$root/nginx.conf"
    nginx -c "$root/nginx.conf" 2>"$root/start"
}
for port in 18{1..9}{3,7}5; do start "$port" && break; done
[ -e "$root/pid" ] || { cat "$root/start" >&2; exit 1; }

ask() { # PATH [HEADER]: the answer's header
    exec 3<>"/dev/tcp/127.0.0.1/$port"
    printf 'GET %s HTTP/1.1\r\nHost: h\r\nAccept-Encoding: gzip, deflate\r\nConnection: close\r\n%s\r\n' "$1" "${2:+$2$'\r\n'}" >&3
    tr -d '\0' <&3 | sed '/^\r$/q'
}
expect() { # PATH LINE [HEADER]
    ask "$1" "${3:-}" | grep -aqi "^$2" || {
        echo "FAILED: no '$2' in the answer for $1" >&2
        exit 1
    }
}
expect /updates.xml "Content-Encoding: gzip"
expect /updates.xml "Content-Type: application/xml"
expect /updates.xml "Cache-Control: public, max-age=300"
expect /package.exe "Content-Length: 100000"
expect /package.exe "Cache-Control: public, max-age=31536000, immutable"
# What a client needs that continues a download.
tag=$(ask /package.exe | tr -d '\r' | sed -n 's/^ETag: \("[^"]*"\)$/\1/p')
[ -n "$tag" ] || { echo "FAILED: no strong ETag" >&2; exit 1; }
rest="Range: bytes=60000-"$'\r\n'"If-Range: $tag"
expect /package.exe "HTTP/1.1 206" "$rest"
expect /package.exe "Content-Range: bytes 60000-99999/100000" "$rest"
expect /package.exe "HTTP/1.1 200" "${rest%\"}x\""
# What a client needs that fetches a part.
expect /package.exe "Content-Range: bytes 500-599/100000" "Range: bytes=500-599"
expect /nowhere.exe "HTTP/1.1 404"
"$publish" lint "http://127.0.0.1:$port/updates.xml"
