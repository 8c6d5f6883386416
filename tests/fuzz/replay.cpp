// SPDX-License-Identifier: Apache-2.0
/* Runs a fuzz program once on each given file, and on the files of folders, without libFuzzer. */
#include "tests/fuzz/fuzz.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);

static std::vector<fs::path> files_of(int argc, char **argv)
{
	std::vector<fs::path> files;

	for (int i = 1; i < argc; i++) {
		if (!fs::is_directory(argv[i]))
			files.emplace_back(argv[i]);
		else
			for (const auto &entry : fs::directory_iterator(argv[i]))
				files.push_back(entry.path());
	}
	std::ranges::sort(files);
	return files;
}

static void replay(const fs::path &path)
{
	std::ifstream file(path, std::ios::binary);
	must(file.is_open(), "the file can be opened");
	const std::vector<char> data{ std::istreambuf_iterator<char>(file), {} };
	/* A block of exactly that size: a sanitizer then finds a read after its end. */
	const std::vector<uint8_t> bytes(data.begin(), data.end());

	LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

int main(int argc, char **argv)
{
	const std::vector<fs::path> files = files_of(argc, argv);

	LLVMFuzzerInitialize(&argc, &argv);
	must(!files.empty(), "there is something to replay");
	for (const fs::path &path : files) {
		/* Printed before: after a crash this is the last line. */
		dprintf(STDOUT_FILENO, "%s\n", path.c_str());
		replay(path);
	}
	dprintf(STDOUT_FILENO, "%zu inputs, no finding\n", files.size());
	return 0;
}
