"""The example CompressedFile, and that its blocks are those of Python's zlib and lz4 and of the zstd tool."""

import os
import struct
import subprocess
import zlib

import lz4.block
import pytest

TOOL = os.environ["UTIL_BIN"] + "/CompressedFile"
BLOCK_SIZE = 1 << 20
HEADER = struct.Struct("=III")  # raw size, stored size, CRC-32 of the raw bytes
DECODERS = {
    "lz77": lambda block, raw_size: zlib.decompress(block),
    "lz4": lambda block, raw_size: lz4.block.decompress(block, uncompressed_size=raw_size),
    "zstd": lambda block, raw_size: subprocess.run(["zstd", "-dcq"], input=block, stdout=subprocess.PIPE).stdout,
}
TEXT = b"".join(b"glBindTexture(GL_TEXTURE_2D, %d)\n" % (i * 7919 % 1000) for i in range(100_000))
NOISE = b"".join(zlib.crc32(bytes([i % 251, i // 251])).to_bytes(4, "little") for i in range(60_000))


@pytest.fixture
def run_tool(tmp_path):
    def run(action, codec, data):
        """The bytes written, or the message of a refusal."""
        source, target = tmp_path / "source", tmp_path / "target"
        source.write_bytes(data)
        target.unlink(missing_ok=True)
        done = subprocess.run([TOOL, action, codec, source, target], capture_output=True, text=True)
        assert done.returncode in (0, 1), done.stderr
        assert target.exists() == (done.returncode == 0)
        assert not (tmp_path / "target.part").exists()
        return target.read_bytes() if done.returncode == 0 else done.stderr
    return run


@pytest.mark.parametrize("raw", [b"", b"x", TEXT[:BLOCK_SIZE], TEXT[:BLOCK_SIZE + 1], TEXT, NOISE], ids=len)
@pytest.mark.parametrize("codec", DECODERS)
def test_packed_blocks_open_elsewhere_and_here(run_tool, codec, raw):
    packed = run_tool("pack", codec, raw)
    assert run_tool("unpack", codec, packed) == raw
    unpacked, place = b"", 0
    while (header := HEADER.unpack_from(packed, place)) != (0, 0, 0):
        place += HEADER.size
        unpacked += DECODERS[codec](packed[place:place + header[1]], header[0])
        place += header[1]
    assert unpacked == raw
    assert place + HEADER.size == len(packed)


@pytest.mark.parametrize("codec, other", [("lz77", "lz4"), ("lz4", "zstd"), ("zstd", "lz77")])
def test_damage_is_refused(run_tool, codec, other):
    packed = run_tool("pack", codec, TEXT[:BLOCK_SIZE + 5000])
    second = HEADER.size + HEADER.unpack_from(packed)[1]
    for place in (3, 7, 11, 12, second // 2, second - 1, second + 3, len(packed) - 2):
        flipped = packed[:place] + bytes([packed[place] ^ 0x40]) + packed[place + 1:]
        assert "is damaged: block " in run_tool("unpack", codec, flipped), f"flipped at {place}"
    for size in (0, 5, 12, second // 2, second, len(packed) - 12, len(packed) - 1):
        assert "is damaged: block " in run_tool("unpack", codec, packed[:size]), f"cut at {size}"
    assert "is damaged: block " in run_tool("unpack", codec, packed + b"\0"), "goes on after its end"
    assert "is damaged: block 0 is not" in run_tool("unpack", other, packed)
