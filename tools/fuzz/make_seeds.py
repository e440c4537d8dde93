#!/usr/bin/env python3
"""Writes the seed corpus of the fuzz targets into tools/fuzz/corpus/.

Each seed is a small valid input (the layouts of docs/wire-protocol.md and
docs/service-protocol.md), so that fuzzing starts from inputs that reach deep
into the parsers. Run from anywhere; it overwrites the seeds it makes.
"""
import os
import struct

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'corpus')


def pad(data):
    return data + b'\0' * (-len(data) % 4)


def i32(v): return struct.pack('<i', v)
def u32(v): return struct.pack('<I', v)
def i64(v): return struct.pack('<q', v)
def f64(v): return struct.pack('<d', v)
def string(s): return i32(len(s.encode())) + pad(s.encode())
def u16vec(units): return i32(len(units)) + pad(b''.join(struct.pack('<H', u) for u in units))
def obj(index): return u32(0x4A424F52) + u32(index)


HELLO, HELLO_ACK, TRANSACTION, ONEWAY, REPLY, RELEASE = range(1, 7)


def frame(kind, txid=0, handle=0, code=0, payload=b'', objects=()):
    header = struct.pack('<IHBBQIIII', 0x4350494E, 1, kind, 0, txid, handle, code, len(payload), len(objects))
    return header + payload + b''.join(u32(k) + u32(h) for k, h in objects)


def hello(bundle='com.example.map', token=''):
    return frame(HELLO, payload=string(bundle) + string(token))


def location(name='Office'):
    return string(name) + i32(1) + f64(116.4) + f64(39.9) + f64(12.5)


def want(entries):
    out = i32(len(entries))
    for key, value in entries:
        out += string(key) + value
    return out


def w_bool(v): return i32(1) + i32(1 if v else 0)
def w_int(v): return i32(2) + i32(v)
def w_long(v): return i32(3) + i64(v)
def w_double(v): return i32(4) + f64(v)
def w_string(v): return i32(5) + string(v)
def w_map(entries): return i32(6) + want(entries)
def w_array(values): return i32(7) + i32(len(values)) + b''.join(values)


SAMPLE_WANT = want([('eta', w_int(12)), ('road', w_string('Main St')), ('ok', w_bool(True)),
                    ('dist', w_double(1.5)), ('id', w_long(1 << 40)),
                    ('nested', w_map([('lane', w_array([w_int(1), w_string('left')]))]))])
STATUS = (i32(1) + i32(0) + location() + i32(2) + location('A') + location('B') + i32(0) + string('{}') +
          i32(1) + i32(2) + i32(1) + i32(3) + i64(1700000000000))
METADATA = (i32(2) + u32(350) + string('Main St') + string('Ring Rd') + u16vec([0x56, 0x69]) + u32(320) +
            u32(240) + u16vec([1, 2, 3]) + i32(1) + u32(60) + i32(0) + u32(0) + u32(48) + f64(90.0) +
            u32(12000) + u32(900) + SAMPLE_WANT)
RESULT = i32(0) + string('ok') + SAMPLE_WANT
TOKEN = i32(len('OHOS.NavigationInfoService.INavInfoService')) + pad(
    'OHOS.NavigationInfoService.INavInfoService'.encode('utf-16-le'))

def u64(v): return struct.pack('<Q', v)


# A ServiceSnapshot: every list with one entry.
SNAPSHOT = (i64(1767225600123) + i32(0) +
            i32(1) + u64(1) + string('com.example.map') + i32(4242) + i32(1000) +
            i32(1) + u64(2) + string('com.example.map') + i32(1) +
            i32(1) + string('com.example.map') + u64(1) +
            i32(1) + u64(7) + u64(2) + string('com.example.map') + i32(1) + i32(2) + i64(1500) +
            i32(1) + string('com.example.map') + STATUS +
            i32(1) + string('com.example.map') + METADATA + i64(1767225600000))

SEEDS = {
    'ipc_wire_fuzz': {
        # The whole input is the stream (its first byte also picks where it is split).
        'hello': hello(),
        'transaction': frame(TRANSACTION, 1, 0, 1, string('hi') + i32(7)),
        'frames': hello() + frame(ONEWAY, 0, 3, 2, obj(0), [(1, 5)]) + frame(RELEASE, 0, 5, 1),
        'reply': frame(REPLY, 4, 0, 0, i32(0) + string('done')),
    },
    'ipc_connection_fuzz': {
        'server_hello_then_calls': b'\0' + hello() + frame(TRANSACTION, 1, 0, 0, string('echo')),
        'server_objects': b'\x02' + frame(TRANSACTION, 1, 0, 1, obj(0), [(1, 1)]) +
                          frame(TRANSACTION, 2, 0, 2) + frame(RELEASE, 0, 1, 1) + frame(ONEWAY, 0, 0, 0),
        'server_bad_hello': b'\0' + frame(HELLO, payload=i32(-1)),
        'client_ack_then_frames': b'\x03' + frame(TRANSACTION, 1, 0, 5) + frame(REPLY, 1, 0, 0),
        'client_refused': b'\x01' + frame(HELLO_ACK, code=0xFFFFFFF3),
        'service_call': b'\x02' + frame(TRANSACTION, 1, 0, 1, TOKEN + STATUS),
    },
    'record_codec_fuzz': {
        'status': b'\0' + STATUS,
        'metadata': b'\x01' + METADATA,
        'result': b'\x02' + RESULT,
        'snapshot': b'\x03' + SNAPSHOT,
    },
    'want_params_fuzz': {
        'sample': SAMPLE_WANT,
        'empty': want([]),
        'deep': want([('a', w_map([('b', w_map([('c', w_array([w_array([w_int(1)])]))]))]))]),
    },
    'access_policy_fuzz': {
        'full': b'{"version": 1, "defaultDeny": true, "bundles": {"com.example.map": {"systemApp": false, '
                b'"navigationPermission": true, "uids": [1000, 20010], "token": "t"}, '
                b'"com.example.dash": {"systemApp": true, "navigationPermission": true}}}',
        'allow': b'{"defaultDeny": false}',
        'twice': b'{"bundles": {"a": {"token": "t"}, "a": {}}}',
        'deep': b'{"bundles": {"a": {"uids": [[[[[[1]]]]]]}}}',
        'bridge': b'{"bundles": {"a": {}}, "bridge": {"domain": 7, "partition": "car", "node": "head-unit", '
                  b'"export": ["com.example.map"], "import": ["com.example.map2"], "livelinessMs": 800}}',
    },
}

for target, seeds in SEEDS.items():
    directory = os.path.join(ROOT, target)
    os.makedirs(directory, exist_ok=True)
    for name, data in seeds.items():
        with open(os.path.join(directory, name), 'wb') as f:
            f.write(data)
