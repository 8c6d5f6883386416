// SPDX-License-Identifier: Apache-2.0
/* What the precompiled headers belong to: a program as the tests are, compiled alike. */
int main()
{
	return 0;
}
