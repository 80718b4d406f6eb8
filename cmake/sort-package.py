#!/usr/bin/env python3
"""sort-package.py ZIP...: packs each anew, files in the order of their names, with nothing but name, time and content."""
import os
import sys
import zipfile

for path in sys.argv[1:]:
    with zipfile.ZipFile(path) as old, zipfile.ZipFile(path + ".new", "w", zipfile.ZIP_DEFLATED, compresslevel=9) as new:
        for entry in sorted(old.infolist(), key=lambda entry: entry.filename):
            if entry.is_dir():
                continue
            fresh = zipfile.ZipInfo(entry.filename, entry.date_time)
            fresh.compress_type = zipfile.ZIP_DEFLATED
            fresh.create_system = 3  # Unix, wherever it runs
            fresh.external_attr = 0o100644 << 16
            new.writestr(fresh, old.read(entry))
    os.replace(path + ".new", path)
