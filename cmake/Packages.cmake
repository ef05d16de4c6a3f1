# Debian packages, one for each component: see `tools/package`.
