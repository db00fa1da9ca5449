# In the place of OpenWrt's rules: says what a package asks for, and runs its steps.
INCLUDE_DIR = $(TOPDIR)/include
INSTALL_DIR = install -d -m0755
INSTALL_BIN = install -m0755
PKG_BUILD_DIR = $(SCRATCH)/build
PKG_INSTALL_DIR = $(SCRATCH)/installed
CP = cp -fpR
