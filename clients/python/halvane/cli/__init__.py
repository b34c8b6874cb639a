"""The command line `halvane`. It needs click, rich and, for lint, jsonschema; the library does not."""

from __future__ import annotations

import sys

_NEEDED = ("click", "rich")


def run() -> None:
    try:
        from .main import main
    except ModuleNotFoundError as missing:
        if missing.name not in _NEEDED:
            raise
        sys.exit(f"the command line needs {missing.name}: pip install 'halvane[cli]', or on Debian "
                 f"apt install python3-{missing.name}")  # fmt: skip
    main()
