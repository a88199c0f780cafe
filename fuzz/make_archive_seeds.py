#!/usr/bin/env python3
"""Writes the seed archives of fuzz_fmu_archive into corpus/fmu_archive/."""
import pathlib
import stat
import warnings
import zipfile

FOLDER = pathlib.Path(__file__).parent / "corpus" / "fmu_archive"


def entry(name: str, mode: int = 0o100644) -> zipfile.ZipInfo:
    info = zipfile.ZipInfo(name, date_time=(2000, 1, 1, 0, 0, 0))
    info.create_system = 3
    info.external_attr = mode << 16
    return info


def archive(seed: str, *entries: tuple[zipfile.ZipInfo, bytes], method: int = zipfile.ZIP_DEFLATED) -> None:
    with warnings.catch_warnings():
        warnings.simplefilter("ignore")  # names that occur twice
        with zipfile.ZipFile(FOLDER / seed, "w") as out:
            for info, content in entries:
                out.writestr(info, content, compress_type=method)


FOLDER.mkdir(parents=True, exist_ok=True)
archive("empty")
archive("plain", (entry("modelDescription.xml"), b"<a/>"), (entry("resources/table.txt"), b"1 2 3\n" * 20))
archive("stored", (entry("modelDescription.xml"), b"<a/>"), method=zipfile.ZIP_STORED)
archive("folder", (entry("resources/", 0o040755), b""), (entry("resources/a"), b"a"))
archive("traversal", (entry("../evil"), b"x"))
archive("absolute", (entry("/etc/evil"), b"x"))
archive("link", (entry("resources/link", stat.S_IFLNK | 0o777), b"/etc/passwd"))
archive("twice", (entry("a"), b"1"), (entry("a"), b"2"))
archive("file_as_folder", (entry("a"), b"1"), (entry("a/b"), b"2"))
archive("bomb", (entry("zeros"), bytes(2 << 20)))
