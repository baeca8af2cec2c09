# SPDX-License-Identifier: Apache-2.0
"""Settings of all tests."""

import hypothesis

# Bounded and the same in every run: what fails here fails everywhere.
hypothesis.settings.register_profile(
    "tavix", max_examples=60, deadline=None, derandomize=True, database=None
)
hypothesis.settings.load_profile("tavix")
