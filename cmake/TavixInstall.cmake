# Headers, libraries, CMake packages and pkg-config files.
