// SPDX-License-Identifier: Apache-2.0
/* Checks who has written where in the segment; reads the lock as a client does. */
#pragma once

#include "daemon/segment.h"

#include <string>
#include <sys/types.h>
#include <vector>

/* In the clients' word: no process has this id, so vorlinctl takes the turn. */
constexpr uint32_t FIRST_WORD = 0x7EADBEEF;

// clang-format off
enum writer : uint8_t {
	DAEMON_RUNS   = 0x01,
	DAEMON_STARTS = 0x02,
	CLIENT        = 0x04, /* vorlinctl, or another process that acts as a client */
};
// clang-format on

class guard
{
      public:
	/* Watch a segment; a new one gets marks where nobody may write. */
	void watch(ble_segment *segment, bool is_fresh);

	/* The driver's own writes, as a client. */
	void put(void *to, const void *data, size_t length);
	void put_text(char *field, size_t width, const std::string &text);

	/* The first changed byte that none of `writers` may change; empty: none. */
	std::string trespass(uint8_t writers) const;

	/* Accept the current content. */
	void accept();

      private:
	uint8_t *m_live = nullptr;
	std::vector<uint8_t> m_expected;
	std::vector<uint8_t> m_may; /* for each byte, the allowed writers */
};

/* The semaphore's value, -1 without one; and the process that changed it last. */
int lock_value();
pid_t lock_user();
bool try_lock();
void unlock();
