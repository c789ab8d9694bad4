"""The example CompressedFile, and that its blocks are those of Python's zlib and lz4: CompressedFile's path, then
unittest's arguments."""

import pathlib
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

import lz4.block

TOOL = sys.argv.pop(1)
BLOCK_SIZE = 1 << 20
HEADER = struct.Struct("=III")  # raw size, stored size, CRC-32 of the raw bytes

DECODERS = {
    "lz77": lambda block, raw_size: zlib.decompress(block),
    "lz4": lambda block, raw_size: lz4.block.decompress(block, uncompressed_size=raw_size),
}
ENCODERS = {
    "lz77": [lambda raw, level=level: zlib.compress(raw, level) for level in (0, 1, 6, 9)],
    "lz4": [lambda raw, mode=mode: lz4.block.compress(raw, mode=mode, store_size=False)
            for mode in ("fast", "default", "high_compression")],
}
TEXT = b"".join(b"glBindTexture(GL_TEXTURE_2D, %d)\n" % (i * 7919 % 1000) for i in range(100_000))
NOISE = b"".join(zlib.crc32(bytes([i % 251, i // 251])).to_bytes(4, "little") for i in range(60_000))


class CompressedFileTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def run_tool(self, action, codec, data):
        """The bytes written, or the message of a refusal."""
        source, target = self.folder / "source", self.folder / "target"
        source.write_bytes(data)
        target.unlink(missing_ok=True)
        done = subprocess.run([TOOL, action, codec, source, target], capture_output=True, text=True)
        self.assertIn(done.returncode, (0, 1), done.stderr)
        self.assertEqual(target.exists(), done.returncode == 0)
        self.assertFalse((self.folder / "target.part").exists())
        return target.read_bytes() if done.returncode == 0 else done.stderr

    def test_packed_blocks_open_elsewhere_and_here(self):
        samples = (b"", b"x", TEXT[:BLOCK_SIZE], TEXT[:BLOCK_SIZE + 1], TEXT, NOISE)
        for codec, decode in DECODERS.items():
            for raw in samples:
                with self.subTest(codec=codec, size=len(raw)):
                    packed = self.run_tool("pack", codec, raw)
                    self.assertEqual(self.run_tool("unpack", codec, packed), raw)
                    blocks, place = [], 0
                    while (header := HEADER.unpack_from(packed, place)) != (0, 0, 0):
                        place += HEADER.size
                        blocks.append(decode(packed[place:place + header[1]], header[0]))
                        place += header[1]
                    self.assertEqual(b"".join(blocks), raw)
                    self.assertEqual(place + HEADER.size, len(packed))

    def test_blocks_made_elsewhere_unpack(self):
        for codec, encoders in ENCODERS.items():
            for number, encode in enumerate(encoders):
                with self.subTest(codec=codec, encoder=number):
                    packed = b""
                    for raw in (TEXT[:BLOCK_SIZE], b"x", NOISE):
                        block = encode(raw)
                        packed += HEADER.pack(len(raw), len(block), zlib.crc32(raw)) + block
                    packed += HEADER.pack(0, 0, 0)
                    self.assertEqual(self.run_tool("unpack", codec, packed), TEXT[:BLOCK_SIZE] + b"x" + NOISE)

    def test_damage_is_refused(self):
        raw = TEXT[:BLOCK_SIZE + 5000]
        for codec, other in (("lz77", "lz4"), ("lz4", "lz77")):
            packed = self.run_tool("pack", codec, raw)
            second = HEADER.size + HEADER.unpack_from(packed)[1]
            cases = {f"flipped at {place}": packed[:place] + bytes([packed[place] ^ 0x40]) + packed[place + 1:]
                     for place in (3, 7, 11, 12, second // 2, second - 1, second + 3, len(packed) - 2)}
            cases |= {f"cut at {place}": packed[:place]
                      for place in (0, 5, 12, second // 2, second, len(packed) - 12, len(packed) - 1)}
            for name, damaged in cases.items():
                with self.subTest(codec=codec, case=name):
                    self.assertRegex(str(self.run_tool("unpack", codec, damaged)), "is damaged: block [0-2] is not")
            with self.subTest(codec=codec, case="other codec"):
                self.assertRegex(str(self.run_tool("unpack", other, packed)), "is damaged: block 0 is not")


if __name__ == "__main__":
    unittest.main()
