/* SPDX-License-Identifier: Apache-2.0 */
/* Linked with one C and one C++ source for each public header, each including its header twice. */
int main(void) {
  return 0;
}
