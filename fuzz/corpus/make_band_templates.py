# Writes the seed inputs of fuzz_band_templates (first byte 1: a bare band list; 0: a store).
import struct, os
d = os.path.join(os.path.dirname(__file__), "band_templates")
os.makedirs(d, exist_ok=True)
def band(active, ref, adjust, peak, s, e, ts, te):
    return struct.pack("<BBBBi4d", active, ref, adjust, 0, peak, s, e, ts, te)
def blist(*bands):
    return struct.pack("<i", len(bands)) + b"".join(bands)
one = blist(band(1, 0, 1, 1, 891.25, 1122.0, 0, 0), band(0, 3, 0, 2, 0.9, 1.1, 0.05, 0.05))
names = b"Octave\r\nOrders\r\n"
orders = blist(band(1, 2, 1, 1, 0.5, 1.5, 0, 0))
tag = b"TSpectrumAnalyzer"
store = bytes([len(tag)]) + tag + struct.pack("<i", 1) + struct.pack("<i", len(names)) + names
store += struct.pack("<i", len(one)) + one + struct.pack("<i", len(orders)) + orders
open(os.path.join(d, "list_two"), "wb").write(b"\x01" + one)
open(os.path.join(d, "list_empty"), "wb").write(b"\x01" + blist())
open(os.path.join(d, "store_two"), "wb").write(b"\x00" + store)
