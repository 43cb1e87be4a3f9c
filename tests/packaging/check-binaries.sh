#!/usr/bin/env bash
# check-binaries.sh exports LIBRARY LIST QT_MAJOR | private ROOT LIST | imports PROGRAM
# What the built files promise to those who link and ship them. Works on files for Linux and for Windows.
set -euo pipefail
export LC_ALL=C
what=$1 file=$2
is_windows=$([ -f "$file" ] && [ "$(head -c 2 "$file")" = MZ ] && echo yes || echo no)
dump() { x86_64-w64-mingw32-objdump -p "$file"; }
fail() { echo "$file: $*" >&2; exit 1; }

# Qt 6 has other types by names that sources share with Qt 5. Nothing else may differ.
spelled_for_qt5() {
    if [ "$qt" = 5 ]; then cat; else
        sed 's/QList<QString>/QStringList/g; s/QStringList >/QStringList>/g; s/std::pair</QPair</g
            s/QMultiMap</QMap</g; s/QFlags<Qt::SplitBehaviorFlags>/QString::SplitBehavior/
            s/QIODeviceBase::/QIODevice::/'
    fi
}

# Everything but what the compiler makes for classes by itself.
exported_names() {
    if [ "$is_windows" = yes ]; then
        dump | sed -n '/\[Ordinal\/Name Pointer\]/,/^$/s/^\t\[ *[0-9]*\] //p'
    else
        # Weak ones are inline functions, of the standard library too; the last three are the linker's.
        nm -D --defined-only "$file" | awk '$2 ~ /[TDBR]/ { print $3 }' | grep -vx '_end\|_edata\|__bss_start'
    fi | c++filt | grep -v '^typeinfo \|^vtable \|thunk to \|::qt_static_metacall(' | spelled_for_qt5 | sort -u
}

# "Class::name" for each private function and static member of an exported class. A class that is exported exports
# these as well; private slots, which are published, and inline functions are left out.
private_names() {
    grep -lr --include='*.h' '^class SOFTWAREUPDATE_EXPORT' "$1"/{support,types,catalogue,ui,install,client} |
        sort | xargs awk '
        /^class SOFTWAREUPDATE_EXPORT/ { class = $3; is_private = 1; statement = "" }
        /^};/ { class = "" }
        /^(public|protected|private)( slots)?:|^signals:/ { is_private = /^private:/; statement = ""; next }
        class == "" || !is_private || /^ *(\/\/|\/?\*)/ || !/^    / { next }
        { sub(/ *\/\/.*/, ""); statement = statement (/^    [^ ]/ ? "" : " ") $0 }
        /\{$/ { depth++ }
        /^ *\}/ && depth > 0 { depth--; if (depth == 0) { statement = "" } next }
        depth > 0 || !/;$/ { next }
        statement ~ /\)( const)?( noexcept)?( override)?;$/ {
            sub(/\(.*/, "", statement); sub(/.*[ *&]/, "", statement); print class "::" statement
        }
        statement ~ /^ *static / && statement !~ /\(/ {
            sub(/( =.*|\{.*)?;$/, "", statement); sub(/.* /, "", statement); print class "::" statement
        }
        { statement = "" }' | sort -u
}

case $what in
    exports)
        # A name that comes or goes is a change of the interface: `exported_names` above writes the list anew.
        qt=$4
        diff -u "$3" <(exported_names) || fail "exports other names than $3 lists"
        echo "$(wc -l <"$3") names, as listed"
        ;;
    private)
        # What a class does by itself belongs in its Private or in the .cpp file.
        diff -u <(grep -v '^#' "$3" | sort) <(private_names "$file") || fail "has other private names than $3 lists"
        echo "$(grep -vc '^#' "$3") private names, as listed"
        ;;
    imports)
        if [ "$is_windows" = yes ]; then
            imports=$(dump | sed -n 's/^\tDLL Name: //p' | sort)
            [ "$imports" = "$(printf 'KERNEL32.dll\nmsvcrt.dll')" ] || fail "imports $imports"
            manifest=$(x86_64-w64-mingw32-windres --input-format=coff -O rc "$file")
            [[ $manifest == *"1 24"* ]] || fail "has no manifest" # RT_MANIFEST
            for setting in 'level=""asInvoker""' '>true</longPathAware' '>UTF-8</activeCodePage'; do
                [[ $manifest == *"$setting"* ]] || fail "the manifest lacks $setting"
            done
            echo "imports the system's own libraries alone; asInvoker, long paths, UTF-8"
        else
            ! readelf -d "$file" | grep NEEDED || fail "needs shared libraries"
            echo "needs no library at all"
        fi
        ;;
esac
