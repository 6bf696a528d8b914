include $(sort $(wildcard $(BR2_EXTERNAL_VANDEL_PATH)/package/*/*.mk))
