// SPDX-License-Identifier: Apache-2.0
/* Which controller has which command, and what a call of an empty slot does. */
#include "hci/command_tables.h"

#include "hci/qualcomm_commands.h"
#include "hci/standard_commands.h"
#include "hci/ti_commands.h"
#include "tests/unit/fakes/fake_daemon.h"

class CommandTables : public DaemonTest
{
};

template <typename Function>
static void expect_slots(Function *const (&table)[4], Function *ti_06, Function *ti_08,
			 Function *qualcomm)
{
	EXPECT_EQ(table[0], ti_06);
	EXPECT_EQ(table[1], ti_08);
	EXPECT_EQ(table[2], qualcomm);
	EXPECT_EQ(table[3], nullptr);
}

template <typename Function> static void expect_all(Function *const (&table)[4], Function *command)
{
	expect_slots(table, command, command, command);
}

template <typename Function> static void expect_ti(Function *const (&table)[4], Function *command)
{
	expect_slots(table, command, command, static_cast<Function *>(nullptr));
}

TEST_F(CommandTables, TheSupportedVersionsAre6And8And11)
{
	static const int32_t versions[] = { 6, 8, 11, 0 };

	for (int i = 0; i < 4; i++)
		EXPECT_EQ(BLE_HCI_SUPPORT_VERSION[i], versions[i]);
}

TEST_F(CommandTables, EachControllerHasItsCommandsAndTheFourthSlotNone)
{
	expect_slots(func_reset_system_cmd, _hci_func_ext_reset_system_cmd_ti_06,
		     _hci_func_ext_reset_system_cmd_ti_08, _hci_func_reset_system_cmd);
	expect_all(func_read_local_version_information, _hci_func_read_local_version_information);
	expect_all(func_read_bd_addr, _hci_func_read_bd_addr);
	expect_slots(func_le_set_advertising_parameters, {}, {},
		     _hci_func_le_set_advertising_parameters);
	expect_all(func_le_read_advertising_channel_tx_power,
		   _hci_func_le_read_advertising_channel_tx_power);
	expect_slots(func_set_advertising_data, _hci_func_gap_update_advertising_data,
		     _hci_func_gap_update_advertising_data, _hci_func_le_set_advertising_data);
	expect_slots(func_set_advertise_enable, _hci_func_set_advertise_enable_ti,
		     _hci_func_set_advertise_enable_ti, _hci_func_le_set_advertise_enable);
	expect_all(func_le_receiver_test, _hci_func_le_receiver_test);
	expect_all(func_le_transmitter_test, _hci_func_le_transmitter_test);
	expect_all(func_le_test_end_command, _hci_func_le_test_end_command);
	expect_slots(func_ext_set_tx_power_cmd, _hci_func_ext_set_tx_power_cmd_06,
		     _hci_func_ext_set_tx_power_cmd_08, {});
	expect_slots(func_set_bdaddr, _hci_func_set_bdaddr_ti, _hci_func_set_bdaddr_ti,
		     _hci_func_set_bdaddr_qualcomm);
	expect_ti(func_ext_build_revision_cmd, _hci_func_ext_build_revision_cmd);
	expect_ti(func_gap_device_init, _hci_func_gap_device_init);
	expect_ti(func_gap_set_param, _hci_func_gap_set_param);
	expect_ti(func_gap_get_param, _hci_func_gap_get_param);
	expect_slots(func_download_patch_file, {}, {}, _hci_func_download_patch_file_qualcomm);
}

TEST_F(CommandTables, ACallTakesTheSlotInForce)
{
	hci_ver_index = 2;
	fake_answers("04 0E 04 01 0A 20 0C");
	EXPECT_EQ(hci_call(func_set_advertise_enable, 1), 0x0C);
	EXPECT_EQ(fake_heard(), "01 0A 20 01 01");
	hci_ver_index = 0;
	fake_answers("04 FF 06 7F 06 12 08 FE 00");
	EXPECT_EQ(hci_call(func_set_advertise_enable, 0), 0);
	EXPECT_EQ(fake_heard(), "01 08 FE 00");
}

TEST_F(CommandTables, AnEmptySlotAndAnIndexOutsideTheTableAreSuccessWithoutAnExchange)
{
	for (const int32_t index : { -1, 3, 4, 1000, INT32_MIN, INT32_MAX }) {
		hci_ver_index = index;
		EXPECT_EQ(hci_call(func_set_advertise_enable, 1), 0);
		EXPECT_EQ(hci_call(func_reset_system_cmd, 1), 0);
	}
	hci_ver_index = 2;
	EXPECT_EQ(hci_call(func_gap_device_init), 0);
	hci_ver_index = 1;
	EXPECT_EQ(hci_call(func_download_patch_file), 0);
	EXPECT_EQ(fake_heard(), "");
}

TEST_F(CommandTables, SwitchingATiControllersAdvertisingHidesItsFailures)
{
	fake_answers("04 FF 06 7F 06 0C 06 FE 00");
	EXPECT_EQ(_hci_func_set_advertise_enable_ti(1), 0);
	fake_answers("04 FF 06 7F 06 11 08 FE 00");
	EXPECT_EQ(_hci_func_set_advertise_enable_ti(0), 0);
	ble_config->opt.status = 0;
	EXPECT_EQ(_hci_func_set_advertise_enable_ti(7), 0);
	EXPECT_EQ(fake_heard(), "01 06 FE 0A 03 00 00 00 00 00 00 00 07 00 01 08 FE 00");
}
