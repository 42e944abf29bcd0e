# Sourced by the platforms of scripts/ports that are another processor than this machine's: Debian's
# cross compiler builds for them, qemu runs what was built.

# What does not work emulated. qemu keeps no robust lists, so that a lock stays taken when its holder
# dies, knows no descriptors of processes and not all options of sockets, keeps descriptors and memory
# of its own, ends otherwise in a fork of a program with threads, makes code at run time and system
# calls of its own, and is what a tracer, a debugger or a preloaded library meets. There is one user
# only (emulate.sh), and programs of this machine complain of the other one's locales.
not_emulated='_AfterADeath|^AmongProcesses/|^Kinds/Crash|^CrashUnderTraffic'
not_emulated+='|^NamedSemaphore\.(AKill|Disappears)|UncontendedOperationsMakeNoSystemCall'
not_emulated+='|^Process\.(ChildHasWhatItIsGiven|FinishesHowever|HundredsOfDropped|LeaveNothing)'
not_emulated+='|ManagesWithoutDescriptors|IsJoinedInAProgramThatIgnores|^ForkedChild|^Uses/Fork'
not_emulated+='|^NamedFailure|OptionsKeepTheirDescribedForm|EachDirectionEndsOnce|AnAbruptReset'
not_emulated+='|APeerThatResets|FromAReset|TellsWhyAConnection|ModulesThatDoNotFit'
not_emulated+='|AnotherUserOpens|OthersMay|OfTheFoldersThatCanBeHad|ServeTheEncodingOfTheLocale'
not_emulated+='|^example\.service\.(managed|contained)'
not_emulated+='|^torture\.(allocations|calls|locales)|^tools\.(environments|qxconv|qxipc)'
not_emulated+='|^mistakes\.|^gdb\.'

# cross_build MACHINE ARCHITECTURE [CMAKE-OPTION...]: builds for a processor that has these names with
# the compiler and with Debian, and sets $runner, under which its tests run.
cross_build() {
    local machine=$1 architecture=$2 sysroot=$out/sysroot
    shift 2
    install_missing $test_packages "g++-$machine-linux-gnu" qemu-user util-linux

    local for_machine=(-G Ninja -DCMAKE_BUILD_TYPE=Release
        -DCMAKE_SYSTEM_NAME=Linux "-DCMAKE_SYSTEM_PROCESSOR=$machine"
        "-DCMAKE_C_COMPILER=$machine-linux-gnu-gcc" "-DCMAKE_CXX_COMPILER=$machine-linux-gnu-g++"
        "-DCMAKE_FIND_ROOT_PATH=$sysroot" -DCMAKE_FIND_ROOT_PATH_MODE_PROGRAM=NEVER
        -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY
        -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=ONLY
        # Without one CMake does not call what it has built; under $runner that runs by itself.
        -DCMAKE_CROSSCOMPILING_EMULATOR=/usr/bin/env)
    use_ccache
    foreign_packages "$architecture" "$sysroot" libexpat1-dev libexpat1 libssl-dev libssl3 \
        libc-bin libc6 # whose conversions the codecs module serves
    if [[ ! -e $sysroot/usr/lib/cmake/GTest ]]; then
        cmake -S /usr/src/googletest -B "$out/googletest" "${for_machine[@]}" -DBUILD_GMOCK=OFF \
            -DCMAKE_INSTALL_PREFIX="$sysroot/usr" -DCMAKE_INSTALL_LIBDIR=lib
        cmake --build "$out/googletest" --parallel "$jobs" --target install
    fi

    cmake -S . -B "$out/build" "${for_machine[@]}" -DQX_WARNINGS_AS_ERRORS=ON \
        -DQX_TEST_TIMEOUT=600 "$@"
    runner="scripts/emulate.sh $machine $sysroot/usr/lib:/usr/$machine-linux-gnu/lib"
    $runner cmake --build "$out/build" --parallel "$jobs" # which runs a program that it has built
}

# foreign_packages ARCHITECTURE FOLDER PACKAGE...: unpacks packages of another processor in a folder,
# without installing anything or telling this machine's dpkg of that processor.
foreign_packages() {
    local architecture=$1 folder=$2 package
    shift 2
    [[ ! -e $folder/complete ]] || return 0
    local state=$folder.apt
    mkdir -p "$folder" "$state/lists/partial" "$state/archives"
    local apt=(apt-get -qq -o "Dir::State::Lists=$state/lists" -o Dir::Cache="$state"
        -o "APT::Architectures=$architecture" -o "APT::Architectures::=$(dpkg --print-architecture)")
    "${apt[@]}" update
    (cd "$state/archives" && "${apt[@]}" download "${@/%/:$architecture}")
    for package in "$state"/archives/*.deb; do
        dpkg-deb -x "$package" "$folder"
    done
    # The headers that differ by processor lie where the cross compiler does not look.
    cp -r "$folder"/usr/include/*-linux-gnu/. "$folder/usr/include"
    touch "$folder/complete"
}
