// SPDX-License-Identifier: Apache-2.0
/* The owner of the precompiled headers: a program with the compiler flags of the tests. */
int main()
{
	return 0;
}
