# SPDX-License-Identifier: Apache-2.0
"""The version of the package, which is that of the library."""

__version__ = "1.0.0"
