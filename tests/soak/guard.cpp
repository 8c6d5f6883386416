// SPDX-License-Identifier: Apache-2.0
#include "tests/soak/guard.h"

#include <cstdio>
#include <cstring>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

constexpr uint8_t MARK = 0xA5;

struct field_row {
	size_t offset;
	size_t length;
	uint8_t writers;
};

#define CONFIG(member) offsetof(ble_segment, config.member), sizeof(ble_segment::config.member)
// clang-format off
constexpr field_row fields[] = {
	{ offsetof(ble_segment, unused), 4, CLIENT },
	{ offsetof(ble_segment, cmd_doing), 4, DAEMON_RUNS | CLIENT },
	{ offsetof(ble_segment, cmd.argc), 4, CLIENT },
	{ offsetof(ble_segment, cmd.argv), BLE_WORDS * BLE_WORD_SIZE, CLIENT },
	{ offsetof(ble_segment, cmd.rest), sizeof(ble_command_area::rest), CLIENT },
	{ offsetof(ble_segment, info), INFO_REVISION + 12, DAEMON_RUNS },
	{ CONFIG(opt.action), DAEMON_RUNS | CLIENT },
	{ CONFIG(opt.unused), CLIENT },
	{ CONFIG(opt.status), DAEMON_RUNS },
	{ CONFIG(interval), DAEMON_STARTS | CLIENT },
	{ CONFIG(mac), DAEMON_RUNS | CLIENT },
	{ CONFIG(measured_power), DAEMON_STARTS | CLIENT },
	{ CONFIG(power_index), DAEMON_STARTS | CLIENT },
	{ CONFIG(beacon), DAEMON_STARTS | CLIENT },
	{ CONFIG(reserved), CLIENT },
};
// clang-format on
#undef CONFIG

void guard::watch(ble_segment *segment, bool is_fresh)
{
	/* The kernel maps whole pages: the bytes after the segment must stay unchanged too. */
	const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));

	m_live = reinterpret_cast<uint8_t *>(segment);
	if (!is_fresh)
		return;
	m_may.assign((sizeof(ble_segment) + page - 1) / page * page, 0);
	for (const field_row &row : fields)
		memset(m_may.data() + row.offset, row.writers, row.length);
	for (const beacon_entry &entry : segment->config.beacon) {
		const auto *mac = reinterpret_cast<const uint8_t *>(entry.mac);
		memset(m_may.data() + (mac - m_live), DAEMON_RUNS | CLIENT, sizeof(entry.mac));
	}
	for (size_t i = 0; i < m_may.size(); i++)
		if (m_may[i] == 0)
			m_live[i] = static_cast<uint8_t>(MARK ^ i);
	accept();
}

void guard::put(void *to, const void *data, size_t length)
{
	const auto offset = static_cast<size_t>(static_cast<uint8_t *>(to) - m_live);

	memcpy(to, data, length);
	memcpy(m_expected.data() + offset, data, length);
}

/* Cut at the field's width, then without a NUL. */
void guard::put_text(char *field, size_t width, const std::string &text)
{
	std::string whole = text;

	whole.resize(width, '\0');
	put(field, whole.data(), width);
}

std::string guard::trespass(uint8_t writers) const
{
	char text[96];

	for (size_t i = 0; i < m_may.size(); i++) {
		if ((m_may[i] & writers) != 0 || m_live[i] == m_expected[i])
			continue;
		snprintf(text, sizeof(text), "byte %zu of the segment is 0x%02X, was 0x%02X", i,
			 m_live[i], m_expected[i]);
		return text;
	}
	return "";
}

void guard::accept()
{
	memcpy(m_live, &FIRST_WORD, sizeof(FIRST_WORD));
	m_expected.assign(m_live, m_live + m_may.size());
}

static int semaphore()
{
	return semget(static_cast<key_t>(BLE_SEM_KEY), 1, 0600);
}

int lock_value()
{
	return semctl(semaphore(), 0, GETVAL);
}

pid_t lock_user()
{
	return semctl(semaphore(), 0, GETPID);
}

bool try_lock()
{
	sembuf operation = { 0, -1, SEM_UNDO | IPC_NOWAIT };

	return semop(semaphore(), &operation, 1) == 0;
}

void unlock()
{
	sembuf operation = { 0, 1, SEM_UNDO };

	semop(semaphore(), &operation, 1);
}
