# Short names for what people do here; the work is in scripts/ and in the CMake presets.
SRC ?= /usr/share/doc
DEST ?= build/demo/backup
# Where `make install` puts things, as every package does; DESTDIR stands before it.
prefix ?= /usr/local
# A screen for the tests of the window.
screen = xvfb openbox trayer xdotool x11-utils man-db
# A virtual machine whose power is cut, with the file systems that are in it.
machine = qemu-system-x86 busybox-static e2fsprogs xfsprogs btrfs-progs dosfstools exfatprogs rsync

.PHONY: run gui screenshots test test-windows windows windows-gui build kavrelctl deps asan tidy format \
        translations bench faults powercut fuzz valgrind install uninstall deb test-deb test-fresh

run: kavrelctl
	@scripts/demo "$(SRC)" "$(DEST)"

test: deps
	@scripts/install-deps $(screen)
	@scripts/build debug
	@ctest --preset debug --parallel 2

windows:
	@scripts/build-windows

windows-gui: deps
	@scripts/build-windows-gui

test-windows: deps
	@scripts/test-windows

gui: build
	@build/bin/kavrel $(ARGS)

# LANG=de on the command line, not the user's own, draws them in that language.
screenshots: deps
	@scripts/install-deps pngquant
	@LANGUAGE="$(if $(filter command,$(origin LANG)),$(LANG))" scripts/screenshots

build: deps
	@scripts/build release kavrel kavrelctl installed_files

# The command line alone, for a machine without the window's toolkit.
kavrelctl:
	@scripts/install-deps --kavrelctl
	@scripts/build cli

install: deps
	@scripts/package "$(prefix)"
	@DESTDIR="$(DESTDIR)" cmake --install build/package --strip

uninstall:
	@scripts/uninstall "$(DESTDIR)"

deb: deps
	@scripts/install-deps dpkg-dev
	@scripts/package /usr
	@cpack --config build/package/CPackConfig.cmake -B build >/dev/null
	@ls build/*.deb

test-deb: deb
	@scripts/install-deps debootstrap xvfb xdotool
	@scripts/test-package

test-fresh:
	@scripts/install-deps --kavrelctl debootstrap
	@scripts/test-fresh

faults: deps
	@scripts/install-deps $(machine) || echo "There will be no power cuts."
	@ORACLE="$(ORACLE)" scripts/faults

powercut: deps
	@scripts/install-deps $(machine)
	@scripts/build release
	@scripts/powercut $(POWERCUT)

fuzz: deps
	@scripts/install-deps clang-14 libclang-rt-14-dev
	@scripts/fuzz $(FUZZ)

asan: deps
	@scripts/install-deps $(screen)
	@scripts/build asan
	@ctest --preset asan --parallel 2

valgrind: deps
	@scripts/install-deps valgrind
	@scripts/valgrind

tidy: deps
	@scripts/install-deps clang-tidy
	@scripts/build tidy

format:
	@git ls-files 'src/*.cpp' 'src/*.h' 'tests/*.cpp' 'tests/*.h' | xargs clang-format -i

# Extracts the texts, merges them into po/, checks and tells what is missing.
translations: deps
	@scripts/translations

deps:
	@scripts/install-deps

bench: deps
	@scripts/install-deps rsync rclone restic diffutils time
	@scripts/build release
	@bench/bench.py $(BENCH)
	@[ -n "$(BENCH)" ] || bench/states.py
