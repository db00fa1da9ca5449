include $(sort $(wildcard $(BR2_EXTERNAL_QUON_PATH)/package/*/*.mk))
