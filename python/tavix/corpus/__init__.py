# SPDX-License-Identifier: Apache-2.0
"""Videos as an array store for training: see tavix-corpus --help, and Corpus to read it back."""

from tavix.corpus.reader import Corpus

__all__ = ["Corpus"]
