// SPDX-License-Identifier: Apache-2.0
/* Who may write where in the segment, and who did; and the lock, as a client has it. */
#pragma once

#include "daemon/segment.h"

#include <string>
#include <sys/types.h>
#include <vector>

/* Kept in the clients' word: no process has this id, so that vorlinctl takes its turn over. */
constexpr uint32_t FIRST_WORD = 0x7EADBEEF;

// clang-format off
enum writer : uint8_t {
	DAEMON_RUNS   = 0x01,
	DAEMON_STARTS = 0x02,
	CLIENT        = 0x04, /* vorlinctl, or another process that plays one */
};
// clang-format on

class guard
{
      public:
	/* A segment to look after; a fresh one gets marks where nobody may write. */
	void watch(ble_segment *segment, bool is_fresh);

	/* What the driver itself writes, as a client. */
	void put(void *to, const void *data, size_t length);
	void put_text(char *field, size_t width, const std::string &text);

	/* The first byte that changed and that none of `writers` may change; empty: none. */
	std::string trespass(uint8_t writers) const;

	/* What stands there now is right. */
	void accept();

      private:
	uint8_t *m_live = nullptr;
	std::vector<uint8_t> m_expected;
	std::vector<uint8_t> m_may; /* for each byte, who */
};

/* The semaphore's value, -1: there is none; and the process that changed it last. */
int lock_value();
pid_t lock_user();
bool try_lock();
void unlock();
