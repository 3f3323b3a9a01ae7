#!/usr/bin/env python3
"""Turns Google Benchmark JSON results into docs/PERFORMANCE.md (stdout)."""
import glob
import json
import os
import sys

def rate(b):
    if "items_per_second" in b:
        return "%.1f M/s" % (b["items_per_second"] / 1e6)
    if "bytes_per_second" in b:
        return "%.2f GB/s" % (b["bytes_per_second"] / 1e9)
    return ""

# Headline ratios: (label, result file, library benchmark, peer benchmark, target).
# A ratio above 1 means the library is faster.
PAIRS = [
    ("JPEG encode, 4K RGB q75 4:2:0, vs TurboJPEG tjCompress2 (accurate DCT)", "bench_pipeline-1",
     "BM_JpegEncode_Ozrj/real_time", "BM_JpegEncode_TurboJpeg/real_time", "1.3x"),
    ("JPEG2000 lossless decode 4096x2048, vs OpenJPEG library (1 thread)", "bench_jpeg2000_decode",
     "BM_OzrjReader/real_time", "BM_OpenJpegLibrary/real_time", "2x"),
    ("JPEG2000 lossless decode, ozrj program vs opj_decompress program (file in, PPM out, 1 thread)",
     "bench_jpeg2000_decode", "BM_OzrjProgram/iterations:2/real_time",
     "BM_OpjDecompressProgram/iterations:2/real_time", "2x"),
    ("JPEG2000 lossless decode, vs grk_decompress program (1 thread)", "bench_jpeg2000_decode",
     "BM_OzrjReader/real_time", "BM_GrkDecompressProgram/iterations:2/real_time", "1x"),
    ("Forward DCT + quantization, vs libjpeg-turbo islow forward_DCT", "bench_jpeg_dct",
     "BM_Library_DCTQuantFwd8x8LS", "BM_Libjpeg_ForwardDctIslow", "-"),
    ("Huffman encoding, 4K photo q75, vs jpeg_write_coefficients", "bench_jpeg_huffenc",
     "BM_EncodeHuffman_Ozrj/75/0", "BM_EncodeHuffman_LibjpegTurbo/75/0", "1.5x"),
    ("Huffman encoding, 4K photo q90, vs jpeg_write_coefficients", "bench_jpeg_huffenc",
     "BM_EncodeHuffman_Ozrj/90/0", "BM_EncodeHuffman_LibjpegTurbo/90/0", "1.5x"),
    ("Huffman decoding, 4K q75, every block kept, vs jpeg_read_coefficients", "bench_jpeg_huffdec",
     "BM_DecodeHuffman_Ozrj/75/1", "BM_DecodeHuffman_LibjpegTurbo/75", "1.3x"),
    ("Huffman decoding, 4K q90, every block kept, vs jpeg_read_coefficients", "bench_jpeg_huffdec",
     "BM_DecodeHuffman_Ozrj/90/1", "BM_DecodeHuffman_LibjpegTurbo/90", "1.3x"),
    ("RGB->YCbCr pixel order 4K, vs TurboJPEG 4:4:4 conversion", "bench_jpeg_sample",
     "BM_RGBToYCbCr_PixelOrder/0", "BM_RGBToYCbCr_TurboJpeg444/0", "-"),
    ("DXT1 encode, vs stb_dxt", "bench_texture_dxt", "encodeLibrary/DXT1", "encodeStb/DXT1", "5x"),
    ("DXT5 encode, vs stb_dxt", "bench_texture_dxt", "encodeLibrary/DXT5", "encodeStb/DXT5", "5x"),
    ("DXT1 encode, vs libsquish range fit", "bench_texture_dxt", "encodeLibrary/DXT1", "encodeSquish/DXT1_RangeFit", "-"),
    ("DXT1 decode, vs libsquish", "bench_texture_dxt", "decodeLibrary/DXT1", "decodeSquish/DXT1", "5x"),
    ("DXT5 decode, vs libsquish", "bench_texture_dxt", "decodeLibrary/DXT5", "decodeSquish/DXT5", "5x"),
    ("PackBits pack, long runs, vs libtiff", "bench_tiff", "BM_PackBits_Ozrj/0", "BM_PackBits_Libtiff/0", "-"),
    ("PackBits unpack, long runs, vs libtiff", "bench_tiff", "BM_UnpackBits_Ozrj/0", "BM_UnpackBits_Libtiff/0", "-"),
]

def medians(folder):
    out = {}
    for f in glob.glob(os.path.join(folder, "*.json")):
        key = os.path.basename(f)[:-5]
        for b in json.load(open(f)).get("benchmarks", []):
            if b.get("aggregate_name", "median") == "median":
                out[(key, b["name"].replace("_median", ""))] = b["real_time"]
    return out

def summary(folder):
    m = medians(folder)
    print("## Headline ratios (this run)\n")
    print("| what | library / peer speed | target |")
    print("|---|---:|---:|")
    for label, key, ours, peer, target in PAIRS:
        a, b = m.get((key, ours)), m.get((key, peer))
        if a and b:
            print("| %s | %.2fx | %s |" % (label, b / a, target))
    print()

def main(folder):
    files = sorted(glob.glob(os.path.join(folder, "*.json")))
    ctx = None
    print("# Performance\n")
    print("Made by `bash bench/run.sh`: Google Benchmark, medians of repeated runs, library and peer "
          "measured in the same binary and the same run (repetitions interleaved in random "
          "order), on the photographs of "
          "`scripts/fetch-photos.sh` where the content matters. Single-threaded unless a row says "
          "all threads. Shared machines are noisy: compare ratios within one table, not absolute "
          "figures across runs.\n")
    summary(folder)
    for f in files:
        data = json.load(open(f))
        ctx = ctx or data.get("context", {})
        rows = [b for b in data.get("benchmarks", []) if b.get("aggregate_name", "median") == "median"]
        # Interleaved runs report in run order; list them as declared.
        rows.sort(key=lambda b: (b.get("family_index", 0), b.get("per_family_instance_index", 0)))
        if not rows:
            continue
        title = os.path.basename(f)[:-5]
        print("## %s\n" % title)
        print("| benchmark | median time | unit | rate |")
        print("|---|---:|---|---:|")
        for b in rows:
            name = b["name"].replace("_median", "")
            print("| %s | %.3f | %s | %s |" % (name, b["real_time"], b.get("time_unit", "ns"), rate(b)))
        print()
    if ctx:
        cpu = "unknown CPU"
        try:
            for line in open("/proc/cpuinfo"):
                if line.startswith("model name"):
                    cpu = line.split(":", 1)[1].strip()
                    break
        except OSError:
            pass
        flags = set()
        try:
            for line in open("/proc/cpuinfo"):
                if line.startswith("flags"):
                    flags = set(line.split(":", 1)[1].split())
                    break
        except OSError:
            pass
        level = ("AVX-512" if {"avx512f", "avx512bw", "avx512vl", "avx512cd", "avx512vbmi", "avx512_vbmi2"} <= flags
                 else "AVX2" if {"avx2", "bmi1", "bmi2"} <= flags else "SSSE3")
        print("Machine: %s, %s CPUs at %s MHz, library kernels at the %s level; run %s.\n" %
              (cpu, ctx.get("num_cpus"), ctx.get("mhz_per_cpu"), level, ctx.get("date")))

if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "build-bench/results")
