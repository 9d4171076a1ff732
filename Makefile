# make run     installs what is missing, builds, and runs the helper and the host until Ctrl-C
# make test    installs what is missing, builds, and runs the tests
# make build   installs what is missing and builds
#
# make install [PREFIX=/usr/local] [DESTDIR=]     installs what is built; make uninstall removes it again
# make deb                                        builds, and leaves a Debian package in build/
#
# Further: make check-long (many kills, real lease lapses, sanitizers, fuzzing, the second compiler), make check-distros (on other
# systems, as root), make bench, make format.

BUILD ?= build
CMAKE_FLAGS ?=
PREFIX ?= /usr/local
DESTDIR ?=
INSTALLED ?= $(BUILD)/installed.txt
GENERATE = cmake -S . -B $(BUILD) -G Ninja $(CMAKE_FLAGS)
TEST = ctest --test-dir $(BUILD) --output-on-failure --no-tests=error -j $$(nproc)

.PHONY: build run test check-long check-distros bench install uninstall deb format clean
.DEFAULT_GOAL := build

build:
	@tools/install-packages build
	@$(GENERATE) -DVIGILO_TESTS=OFF -DVIGILO_BENCH=OFF >$(BUILD).log 2>&1 || { cat $(BUILD).log; rm -f $(BUILD).log; exit 1; }; rm -f $(BUILD).log
	@cmake --build $(BUILD)

# All packages at once: who is asked for a password is asked once.
run:
	@tools/install-packages build run
	@$(MAKE) --no-print-directory build
	@exec tools/run $(BUILD)/bin

test:
	@tools/install-packages build test
	@$(GENERATE) -DVIGILO_TESTS=ON -DVIGILO_BENCH=OFF
	@cmake --build $(BUILD)
	@$(TEST) --label-exclude long

check-long:
	@tools/install-packages build test check package
	@tools/check-long

check-distros:
	@tools/install-packages check
	@tools/check-distros

bench:
	@tools/install-packages build test check
	@$(GENERATE) -DVIGILO_TESTS=ON -DVIGILO_BENCH=ON
	@cmake --build $(BUILD)
	@bench/run $(BUILD)/bin

# Often as root: what is built already is not built again then.
install:
	@test -x $(BUILD)/bin/VigiloHelper || $(MAKE) build
	@DESTDIR="$(DESTDIR)" cmake --install $(BUILD) --prefix "$(PREFIX)" --strip
	@mv $(BUILD)/install_manifest.txt $(INSTALLED)
	@test -n "$(DESTDIR)" || echo "To start the helper: systemctl daemon-reload && systemctl enable --now vigilo-helper"

uninstall:
	@test -e $(INSTALLED) || { echo "Nothing was installed from here."; exit 1; }
	@test -n "$(DESTDIR)" || systemctl disable --now vigilo-helper 2>/dev/null || :
	@sed 's|^|$(DESTDIR)|' $(INSTALLED) | tr '\n' '\0' | xargs -0 rm -f
	@rm $(INSTALLED)

deb: build
	@tools/install-packages package
	@tools/build-deb $(BUILD)

format:
	@git ls-files '*.h' '*.cpp' | xargs clang-format -i

# All but the list of what is to be uninstalled.
clean:
	@test ! -d $(BUILD) || find $(BUILD) -mindepth 1 -maxdepth 1 ! -name installed.txt -exec rm -rf {} +
	@rmdir $(BUILD) 2>/dev/null || :
