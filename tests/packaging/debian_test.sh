#!/bin/bash
# debian_test.sh ROOT BUILD LIBDIR VERSION PYTHON SANITIZERS: makes the Debian packages, looks at them, and sorts with
# what they install into a scratch root. PYTHON is the interpreter the module was built for, or empty without module.
set -eu
root=$1 build=$2 libdir=$3 version=$4 python=$5 sanitizers=$6
for tool in cpack dpkg dpkg-deb gzip readelf; do
    command -v "$tool" >/dev/null || { echo "skipped: $tool is not here"; exit 77; }
done
if [ -n "$sanitizers" ]; then
    echo "skipped: packages are made without sanitizers"
    exit 77
fi
box=$(mktemp -d)
trap 'rm -rf "$box"' EXIT
cd "$box"
export LC_ALL=C

fail() { printf 'FAILED: %s\n' "$*"; exit 1; }
quiet() { "$@" >log 2>&1 || { cat log; fail "$@"; }; }
is_file() { if [ ! -f "$1" ] || [ -L "$1" ]; then fail "$1 is no file"; fi; }
is_link() { if [ "$(readlink "$1")" != "$2" ] || [ ! -e "$1" ]; then fail "$1 is no link to $2"; fi; }

# Named by another generator, cpack does not first have the build folder rebuilt.
quiet cpack -G DEB --config "$build/CPackConfig.cmake" -D CPACK_CMAKE_GENERATOR=Ninja -B "$box/packages"
if grep -i warning log; then
    cat log
    fail "cpack warns"
fi

names="liborkan-dev liborkan${version%%.*} orkan"
[ -z "$python" ] || names="$names python3-orkan"
package() { echo "$box/packages/$1_$version-1_$(dpkg --print-architecture).deb"; }
field() { dpkg-deb -f "$(package "$1")" "$2"; }
[ "$(find packages -maxdepth 1 -name '*.deb' | wc -l)" = "$(echo "$names" | wc -w)" ] || fail "number of packages"

# What each says of itself.
library=liborkan${version%%.*}
for name in $names; do
    for field in Maintainer Section Description Depends Installed-Size; do
        [ -n "$(field "$name" $field)" ] || fail "$name has no $field"
    done
    field "$name" Description | head -n 1 | grep -q '^record sort' || fail "$name: first line of the description"
    [ "$(field "$name" Package) $(field "$name" Version)" = "$name $version-1" ] || fail "$name: name or version"
    case $name in
        "$library" | orkan) field "$name" Depends | grep -q 'libc6' || fail "$name does not depend on libc6" ;;
        *) field "$name" Depends | grep -qF "$library (= $version-1)" || fail "$name does not depend on $library" ;;
    esac
    quiet dpkg-deb -x "$(package "$name")" scratch
    cmp "$root/LICENSE" "scratch/usr/share/doc/$name/copyright" || fail "$name: copyright file"
done
! field orkan Depends | grep -q liborkan || fail "orkan, which has the engine within, depends on the library"
[ -z "$python" ] || field python3-orkan Depends | grep -q 'python3 (>= 3' || fail "python3-orkan: interpreter"
[ -z "$(find scratch -perm /022 ! -type l)" ] || fail "files that others may write"

# What they bring.
usr=$box/scratch/usr
is_file "$usr/$libdir/liborkan.so.$version"
is_link "$usr/$libdir/$(basename "$usr/$libdir"/liborkan.so.?)" "liborkan.so.$version"
is_link "$usr/$libdir/liborkan.so" "liborkan.so.${version%%.*}"
is_link "$usr/bin/ORKAN" orkan
while read -r page source; do
    is_file "$usr/share/man/$page.gz"
    gzip -dc "$usr/share/man/$page.gz" | cmp - "$root/man/$source" || fail "$page"
done <<END
man1/orkan.1 orkan.1
ja/man1/orkan.1 ja/orkan.1
man3/orkan_file.3 orkan_file.3
END
is_link "$usr/share/man/man1/ORKAN.1.gz" orkan.1.gz
is_link "$usr/share/man/ja/man1/ORKAN.1.gz" orkan.1.gz
cmp "$usr/share/bash-completion/completions/orkan" "$root/completions/orkan.bash" || fail "bash"
is_link "$usr/share/bash-completion/completions/ORKAN" orkan
cmp "$usr/share/zsh/vendor-completions/_orkan" "$root/completions/_orkan" || fail "zsh"
cmp "$usr/share/fish/vendor_completions.d/orkan.fish" "$root/completions/orkan.fish" || fail "fish"
is_link "$usr/share/fish/vendor_completions.d/ORKAN.fish" orkan.fish

# It sorts.
sort -s -k1.1,1.10 -t "$(printf '\001')" "$root/examples/orders.dat" >expected
sorts() { # sorts USR
    quiet "$1/bin/ORKAN" -L 100 -K 0,10 -S -T "$box" -O out "$root/examples/orders.dat"
    cmp out expected || fail "$1 does not sort"
}
sorts "$usr"
if [ -n "$python" ]; then
    PYTHONPATH=$usr/lib/python3/dist-packages PYTHONDONTWRITEBYTECODE=1 quiet "$python" -c '
import _orkan, sys
sys.exit(_orkan.orkan(sys.argv[1:]))' -L 100 -K 0,10 -S -T "$box" -O module-out "$root/examples/orders.dat"
    cmp module-out expected || fail "the module does not sort"
    ldd "$usr"/lib/python3/dist-packages/_orkan*.so >log
    [ "$(sed -n 's/.*liborkan.* => \(.*\) (.*/\1/p' log | xargs realpath)" = "$usr/$libdir/liborkan.so.$version" ] ||
        fail "the module takes another library"
fi

# dpkg installs them into a root of their own, whose list of packages has the system's libraries, and minds their order.
# It asks for ldconfig, whose stand-in only takes a note.
as_root=
if [ "$(id -u)" -ne 0 ]; then
    as_root=fakeroot
    command -v fakeroot >/dev/null || { echo "dpkg was not tried: not root, and fakeroot is not here"; exit 0; }
fi
admin=$box/other/var/lib/dpkg
mkdir -p "$admin/info" "$admin/updates" "$admin/triggers" bin
dpkg-query -s libc6 libgcc-s1 libstdc++6 >"$admin/status"
printf '#!/bin/sh\necho ldconfig "$@" >>%s/ldconfig-called\n' "$box" >bin/ldconfig
chmod +x bin/ldconfig
install() {
    PATH=$box/bin:$PATH:/usr/sbin:/sbin $as_root dpkg --root="$box/other" --force-script-chrootless --log="$box/dpkg.log" \
        --no-triggers -i "$@" >log 2>&1
}
if install "$(package liborkan-dev)"; then
    fail "liborkan-dev was installed without its library"
fi
install "$(package "$library")" "$(package orkan)" "$(package liborkan-dev)" || { cat log; fail "dpkg -i"; }
dpkg-query --admindir="$admin" -W -f '${Package} ${Status}\n' '*orkan*' >state
[ "$(grep -c 'install ok installed' state)" = 3 ] || { cat state; fail "packages are not installed"; }
[ -e ldconfig-called ] || fail "ldconfig was not called"
sorts "$box/other/usr"
