// SPDX-License-Identifier: Apache-2.0
/* The random numbers of one step: the same for the same seed and step number. */
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

class chance
{
      public:
	/* One generator for each step: the timing in one step does not change the next. */
	chance(uint64_t seed, uint64_t step)
	{
		std::seed_seq mixed = { static_cast<uint32_t>(seed),
					static_cast<uint32_t>(seed >> 32),
					static_cast<uint32_t>(step) };
		m_random.seed(mixed);
	}

	/* The distributions of C++ libraries differ. */
	uint64_t below(uint64_t n)
	{
		return m_random() % n;
	}
	uint64_t between(uint64_t least, uint64_t most)
	{
		return least + below(most - least + 1);
	}
	bool one_in(uint64_t n)
	{
		return below(n) == 0;
	}
	template <typename T> const T &of(const std::vector<T> &all)
	{
		return all[below(all.size())];
	}
	std::string digits(const char *alphabet, size_t count)
	{
		const std::string all = alphabet;
		std::string text;

		while (text.size() < count)
			text += all[below(all.size())];
		return text;
	}

      private:
	std::mt19937_64 m_random;
};
