# The checkout that this folder is part of.
QUON_MCU_DAEMON_SITE = $(realpath $(BR2_EXTERNAL_QUON_PATH)/../..)
QUON_MCU_DAEMON_SITE_METHOD = local
QUON_MCU_DAEMON_VERSION = $(shell sed -n 's/^project.quon_mcu_daemon VERSION \([0-9.]*\) .*/\1/p' $(QUON_MCU_DAEMON_SITE)/CMakeLists.txt)
QUON_MCU_DAEMON_OVERRIDE_SRCDIR_RSYNC_EXCLUSIONS = --exclude /build
QUON_MCU_DAEMON_INSTALL_STAGING = YES
QUON_MCU_DAEMON_CONF_OPTS = -DQUON_TOOLS=OFF -DQUON_TESTS=OFF

define QUON_MCU_DAEMON_INSTALL_INIT_SYSV
	$(INSTALL) -D -m 0755 $(@D)/packaging/init.d/S60quon_mcu_daemon \
		$(TARGET_DIR)/etc/init.d/S60quon_mcu_daemon
endef

define QUON_MCU_DAEMON_INSTALL_INIT_SYSTEMD
	$(INSTALL) -D -m 0644 $(@D)/packaging/systemd/quon_mcu_daemon.service \
		$(TARGET_DIR)/usr/lib/systemd/system/quon_mcu_daemon.service
endef

$(eval $(cmake-package))
