# A root folder that holds another distribution, for platforms to be built and tested in; their files
# source this after $out is known. Roots lie below build/port, or below $QX_PORT_ROOTS. Each is made once;
# to have it made anew, remove it. Commands run in it with namespaces of their own for mounts and
# processes, so whatever way they end, nothing stays mounted and nothing goes on running.

made=${QX_PORT_ROOTS:-$root/build/port}/$(basename "$out")/root

# need_root_rights: a root folder is made and entered by root only, with programs that may be missing.
need_root_rights() {
    local program
    [[ $(id -u) == 0 ]] || {
        echo "$(basename "$out"): only root can make and enter the root folder $made" >&2
        return 1
    }
    install_missing debootstrap util-linux
    for program in debootstrap unshare chroot; do
        command -v $program >/dev/null || {
            echo "$(basename "$out"): there is no $program, which makes or enters the root folder" >&2
            return 1
        }
    done
}

# alone COMMAND...: with mounts and processes of its own, which end with it.
alone() { unshare --mount --pid --fork --kill-child "$@"; }

# make_root SUITE MIRROR COMPONENTS KEYRING SCRIPT: KEYRING is a file, the mirror's signing keys; SCRIPT
# the one of debootstrap that knows how such a suite is put together.
make_root() {
    local suite=$1 mirror=$2 components=$3 keyring=$4 script=/usr/share/debootstrap/scripts/$5
    need_root_rights
    [[ ! -e $made ]] || return 0
    local final=$made made=$made.part
    rm -rf "$made"
    mkdir -p "$made"
    echo "making $final of $suite from $mirror"
    alone debootstrap --variant=minbase --keyring="$keyring" --include=ca-certificates \
        --components="${components// /,}" "$suite" "$made" "$mirror" "$script" >"$final.log" 2>&1 || {
        tail -n 20 "$final.log" >&2
        echo "debootstrap failed, see $final.log" >&2
        return 1
    }
    printf "deb $mirror %s $components\n" "$suite" "$suite-updates" >"$made/etc/apt/sources.list"
    in_root bash -ec 'apt-get -qq update; apt-get -qq -y dist-upgrade' >>"$final.log"
    mv "$made" "$final"
}

# ubuntu_keyring: where the keys are that Ubuntu's archive is signed with. Debian 13 has them as a
# package, from where they are fetched when they are not installed: apt holds it against Debian's keys.
ubuntu_keyring() {
    local keyring=usr/share/keyrings/ubuntu-archive-keyring.gpg below=$out/keyring
    if [[ -e /$keyring ]]; then
        echo "/$keyring"
        return
    fi
    if [[ ! -e $below/$keyring ]]; then
        mkdir -p "$below"/{lists,cache}/partial
        echo "deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg]" \
            "http://deb.debian.org/debian trixie main" >"$below/sources.list"
        local apt=(apt-get -qq -o Dir::Etc::SourceList="$below/sources.list" -o Dir::Etc::SourceParts=-
            -o Dir::State::Lists="$below/lists" -o Dir::Cache="$below/cache" -o APT::Sandbox::User=root)
        "${apt[@]}" update >&2
        (cd "$below" && "${apt[@]}" download ubuntu-keyring >&2)
        dpkg-deb -x "$below"/ubuntu-keyring_*.deb "$below"
    fi
    echo "$below/$keyring"
}

# enter ROOT CHECKOUT BUILD CACHE COMMAND...: the part of in_root that runs with mounts of its own.
enter() {
    local made=$1 checkout=$2 build=$3 cache=$4
    shift 4
    mount -t proc proc "$made/proc"
    mount --rbind /sys "$made/sys"
    mount --bind /dev "$made/dev"
    # Terminals of its own, which the program /dev/ptmx of the machine may not lead to.
    mount -t devpts -o newinstance,ptmxmode=0666,gid=5,mode=620 devpts "$made/dev/pts"
    mount --bind "$made/dev/pts/ptmx" "$made/dev/ptmx"
    mount -t tmpfs -o mode=1777 tmpfs "$made/dev/shm"
    mount -t tmpfs -o mode=1777 tmpfs "$made/tmp"
    mkdir -p "$made/checkout" "$made/var/cache/ccache"
    mount --bind "$checkout" "$made/checkout"
    mount -o remount,bind,ro "$made/checkout"
    mount --bind "$build" "$made/checkout/build"
    [[ -z $cache ]] || mount --bind "$cache" "$made/var/cache/ccache"
    cp /etc/resolv.conf "$made/etc/resolv.conf"
    trap 'exit 130' INT TERM # the first process of its own is not ended by them otherwise
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root TERM="${TERM:-dumb}" LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive CCACHE_DIR=/var/cache/ccache chroot "$made" \
        bash -c 'cd /checkout && exec "$@"' in_root "$@"
}

# in_root COMMAND...: runs it in the root, in the checkout, which can be read there, with a folder build
# of its own ($out/build outside). A compiler cache outside ($CCACHE_DIR) is used inside as well.
in_root() {
    local cache=${CCACHE_DIR:-}
    [[ -d $cache ]] || cache=
    mkdir -p "$out/build"
    alone bash -ec "$(declare -f enter); enter \"\$@\"" in_root "$made" "$root" "$out/build" "$cache" "$@"
}

# test_in_root COMMAND...: the same with a command that runs ctest; the tests are counted.
test_in_root() {
    local status=0
    in_root "$@" 2>&1 | tee "$out/tests.log" || status=$?
    count_tests "$out/tests.log" || status=1
    return $status
}

# What a stranger does first besides: the other command of README, and the packages.
try_in_root() {
    in_root scripts/demo.sh
    in_root scripts/package.sh
}
