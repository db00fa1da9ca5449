define BuildPackage
show:
	@echo 'package $(1) $(PKG_NAME) $(PKG_VERSION)-$(PKG_RELEASE)'
	@echo 'options $(CMAKE_OPTIONS)'
prepare:
	$$(Build/Prepare)
install:
	$$(call Package/$(1)/install,$$(SCRATCH)/root)
endef
