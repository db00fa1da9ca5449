# In the place of Buildroot's rules: says what a package asks for, and runs its steps of installing.
INSTALL = install
cmake-package = # the settings stay as they are
include $(BR2_EXTERNAL_QUON_PATH)/external.mk

show:
	@echo 'version $(QUON_MCU_DAEMON_VERSION)'
	@echo 'site $(QUON_MCU_DAEMON_SITE_METHOD) $(QUON_MCU_DAEMON_SITE)'
	@echo 'staging $(QUON_MCU_DAEMON_INSTALL_STAGING)'
	@echo 'options $(QUON_MCU_DAEMON_CONF_OPTS)'

$(QUON_MCU_DAEMON_SITE)/sysv:
	$(QUON_MCU_DAEMON_INSTALL_INIT_SYSV)
$(QUON_MCU_DAEMON_SITE)/systemd:
	$(QUON_MCU_DAEMON_INSTALL_INIT_SYSTEMD)
