#!/usr/bin/python3
"""Backblaze B2 native API (v1 and v2 paths) over HTTP on 127.0.0.1 for the test suite,
with state and most checks delegated to b2sdk.raw_simulator.RawSimulator
(Debian package python3-b2sdk) and fixes where the simulator is wrong or thin.

Usage:  /usr/bin/python3 b2server.py [--port 0] [--key-id ID] [--key SECRET]
                                      [--min-part-size N] [--token-ttl SECONDS]
Prints one JSON line on stdout when ready: {"url": ..., "keyId": ..., "key": ...}

Test-only control endpoints (not part of B2):
  POST /_test/fail     {"op": "b2_upload_file", "status": 503, "code": "service_unavailable",
                        "times": 1, "retryAfter": 1}   -> next N calls of op fail
  POST /_test/expire   {}  -> every account/upload/download token issued so far is expired
  GET  /_test/state        -> buckets and file versions (for assertions)
  GET  /_test/calls        -> how often each operation was called since the last reset
  POST /_test/calls        -> resets those counts and drops the faults not yet spent
  POST /_test/key      {"keyId", "key", "capabilities": [...]}  -> adds a restricted key
  POST /_test/snapshot {"bucketName"}  -> turns a bucket into a "snapshot" bucket
A fault with "status": 0 drops the connection without an answer (a network failure).
"""
import argparse
import hashlib
import io
import itertools
import json
import mimetypes
import re
import secrets
import sys
import threading
import time
import urllib.parse
import base64
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

from b2sdk import exception as bx
from b2sdk.raw_api import ALL_CAPABILITIES
from b2sdk.raw_simulator import BucketSimulator, KeySimulator, RawSimulator
from b2sdk.utils import b2_url_decode, b2_url_encode

# ---------------------------------------------------------------- simulator fixes


def _ms_clock():
    last = 0
    while True:
        last = max(int(time.time() * 1000), last + 1)
        yield last


# RawSimulator gives every bucket its own id counter starting at 9999, so two buckets
# hand out the same file ids (and file_id_to_bucket_id is global).  Share one counter.
_FILE_IDS = itertools.count(9 * 10**12, -1)   # counts down: newer versions sort first
_CLOCK = _ms_clock()


class Bucket(BucketSimulator):
    def __init__(self, *a, **kw):
        super().__init__(*a, **kw)
        self.file_id_counter = _FILE_IDS
        self.upload_url_counter = itertools.count()         # was range(200)
        self.upload_timestamp_counter = _CLOCK               # was range(5000, 9999)


class Sim(RawSimulator):
    BUCKET_SIMULATOR_CLASS = Bucket


# ---------------------------------------------------------------- errors


class ApiError(Exception):
    def __init__(self, status, code, message='', headers=None):
        super().__init__(message)
        self.status, self.code, self.message, self.headers = status, code, message, headers or {}


def bad(msg):
    return ApiError(400, 'bad_request', msg)


def check_file_name(name):
    """The service's rules for file names, with its own messages."""
    if not name:
        raise bad('File names must not be empty')
    if len(name.encode()) > 1024:
        raise bad('File names must be no more than 1024 bytes')
    for c in name:
        if ord(c) < 32:
            raise bad('File names must not contain unicode characters with codes less than 32: %r' % name)
        if ord(c) == 127:
            raise bad('File names must not contain DELETE: %r' % name)


def translate(e, not_found=(404, 'not_found')):
    """Map a b2sdk exception raised by the simulator to the wire error of the real service."""
    if isinstance(e, ApiError):
        return e
    if isinstance(e, bx.InvalidAuthToken):
        return ApiError(401, 'expired_auth_token' if 'expired' in str(e.code) else e.code, e.message)
    if isinstance(e, bx.Unauthorized):
        return ApiError(401, 'unauthorized', e.message or 'not authorized')
    if isinstance(e, bx.DuplicateBucketName):
        return ApiError(400, 'duplicate_bucket_name', 'Bucket name is already in use.')
    if isinstance(e, bx.NonExistentBucket):
        return ApiError(400, 'bad_bucket_id', 'Invalid bucketId: %s' % e.bucket_name)
    if isinstance(e, (bx.FileNotPresent, KeyError)):
        what = e.args[0] if isinstance(e, KeyError) and e.args else e
        return ApiError(not_found[0], not_found[1], 'File not present: %s' % (what,))
    if isinstance(e, (bx.FileSha1Mismatch, bx.PartSha1Mismatch)):
        return bad('Sha1 did not match data received')
    if isinstance(e, bx.ChecksumMismatch):
        return bad('Sha1 array does not match the parts: %s' % (e,))
    if isinstance(e, bx.MissingPart):
        return ApiError(400, 'missing_part', 'Part number %s has not been uploaded' % (e,))
    if isinstance(e, bx.UploadTokenUsedConcurrently):
        return bad('more than one upload using auth token %s' % e.token)
    if isinstance(e, bx.Conflict):
        return ApiError(409, 'conflict', 'conflict')
    if isinstance(e, bx.BadRequest):
        return ApiError(400, e.code or 'bad_request', e.message)
    if isinstance(e, (bx.BadJson, bx.B2SimpleError)):
        return bad(str(e))
    if isinstance(e, (AssertionError, ValueError, TypeError)):
        return bad('%s: %s' % (type(e).__name__, e))
    return ApiError(500, 'internal_error', repr(e))


# ---------------------------------------------------------------- server state


class State:
    def __init__(self, base_url, key_id, key, min_part, token_ttl):
        self.lock = threading.RLock()
        self.sim = Sim()
        self.sim.API_URL = self.sim.DOWNLOAD_URL = base_url
        self.base = base_url
        self.min_part = min_part
        self.token_ttl = token_ttl
        self.account_id = key_id
        self.sim.key_id_to_key[key_id] = KeySimulator(
            key_id, 'master', key_id, key, ALL_CAPABILITIES, None, None, None, None)
        self.issued = {}          # account token -> issue time
        self.uploads = {}         # upload token -> dict(kind, sim_url, path)
        self.uploads_in_use = set()
        self.dl_tokens = {}       # download auth token -> (bucket_id, prefix, expiry)
        self.faults = {}          # op -> [ApiError, ...]
        self.calls = {}           # op -> count of calls, faults included

    # -- tokens
    def account_token(self, headers, query=None):
        tok = headers.get('Authorization') or (query or {}).get('Authorization')
        if not tok:
            raise ApiError(401, 'bad_auth_token', 'Authorization header is missing')
        if tok not in self.sim.auth_token_to_key:
            raise ApiError(401, 'bad_auth_token', 'Invalid authorization token')
        if self.token_ttl and time.time() - self.issued.get(tok, 0) > self.token_ttl:
            self.sim.expired_auth_tokens.add(tok)
        if tok in self.sim.expired_auth_tokens:
            raise ApiError(401, 'expired_auth_token', 'Authorization token has expired')
        return tok

    def check_cap(self, tok, cap, bucket=None, name=None):
        key = self.sim.auth_token_to_key[tok]
        if cap not in key.capabilities:
            raise ApiError(401, 'unauthorized', 'capability %s required' % cap)
        if key.bucket_id_or_none and bucket is not None and key.bucket_id_or_none != bucket.bucket_id:
            raise ApiError(401, 'unauthorized', 'key restricted to another bucket')
        if key.name_prefix_or_none and name is not None and not name.startswith(key.name_prefix_or_none):
            raise ApiError(401, 'unauthorized', 'key restricted to a name prefix')

    def new_upload(self, kind, sim_result, owner_id, base):
        tok = '4_' + secrets.token_urlsafe(24)
        path = '/b2api/v1/b2_upload_%s/%s/%s' % (kind, owner_id, secrets.token_hex(6))
        self.uploads[tok] = dict(kind=kind, sim_url=sim_result['uploadUrl'], path=path,
                                 issued=time.time(), expired=False)
        return base + path, tok

    def file_sim(self, file_id):
        bucket_id = self.sim.file_id_to_bucket_id.get(file_id)
        if bucket_id is None or bucket_id not in self.sim.bucket_id_to_bucket:
            raise KeyError(file_id)
        bucket = self.sim.bucket_id_to_bucket[bucket_id]
        if file_id not in bucket.file_id_to_file:
            raise KeyError(file_id)
        return bucket, bucket.file_id_to_file[file_id]

    def bucket(self, bucket_id):
        b = self.sim.bucket_id_to_bucket.get(bucket_id)
        if b is None:
            raise ApiError(400, 'bad_bucket_id', 'Invalid bucketId: %s' % bucket_id)
        return b


# ---------------------------------------------------------------- listing (own code:
# the simulator has no delimiter support, asserts when startFileName is outside prefix
# and returns nextFileName as "<last name> ")


def _versions(bucket):
    return [bucket.file_name_and_id_to_file[k] for k in sorted(bucket.file_name_and_id_to_file)]


def _list(bucket, tok, p, versions):
    start = p.get('startFileName') or ''
    start_id = p.get('startFileId')
    prefix = p.get('prefix') or ''
    delim = p.get('delimiter')
    count = int(p.get('maxFileCount') or 100)
    if not 1 <= count <= 10000:
        raise bad('maxFileCount out of range: %d' % count)
    if start_id and not p.get('startFileName'):
        raise bad('startFileId requires startFileName')
    entries, seen_names, folders = [], set(), set()
    for f in _versions(bucket):
        if f.name < start or (start_id and f.name == start and f.file_id < start_id):
            continue
        if not f.name.startswith(prefix):
            continue
        if delim:
            cut = f.name.find(delim, len(prefix))
            if cut >= 0:
                folder = f.name[:cut + len(delim)]
                if folder not in folders:
                    folders.add(folder)
                    entries.append(('folder', folder, None))
                continue
        if versions:
            if f.action != 'start':
                entries.append(('file', f.name, f))
        else:
            if f.name in seen_names or f.action == 'start':
                continue
            seen_names.add(f.name)           # newest upload/hide decides
            if f.action == 'upload':
                entries.append(('file', f.name, f))
        if len(entries) > count:
            break
    nxt = entries[count] if len(entries) > count else None
    out = []
    for kind, name, f in entries[:count]:
        if kind == 'folder':
            out.append(dict(action='folder', fileId=None, fileName=name, contentLength=0, size=0,
                            uploadTimestamp=0, contentSha1=None, contentType=None, fileInfo={}))
        else:
            d = f.as_list_files_dict(tok)
            out.append(d)
    res = dict(files=out, nextFileName=nxt[1] if nxt else None)
    if versions:
        res['nextFileId'] = nxt[2].file_id if nxt and nxt[2] else None
    return res


# ---------------------------------------------------------------- HTTP


def _jsonable(o):
    return sorted(o) if isinstance(o, (set, frozenset)) else str(o)


class Handler(BaseHTTPRequestHandler):
    protocol_version = 'HTTP/1.1'
    server_version = 'b2sim/0.1'
    st: State = None

    def log_message(self, fmt, *args):
        if self.server.verbose:
            sys.stderr.write('b2sim: ' + fmt % args + '\n')

    # ---- plumbing
    def _base(self):
        host = self.headers.get('Host')
        return 'http://' + host if host else self.st.base

    def _body(self, limit=None):
        n = self.headers.get('Content-Length')
        if n is None:
            if self.headers.get('Transfer-Encoding'):
                raise ApiError(411, 'bad_request', 'Content-Length required')
            return b''
        n = int(n)
        self._read = True
        data = self.rfile.read(n)
        if len(data) != n:
            raise bad('body shorter than Content-Length')
        return data

    def _send(self, status, body=b'', headers=None, ctype='application/json;charset=utf-8'):
        self.send_response(status)
        if not getattr(self, '_read', False) and int(self.headers.get('Content-Length') or 0) > 0:
            self.send_header('Connection', 'close')     # unread request body: cannot keep alive
            self.close_connection = True
        self.send_header('Content-Type', ctype)
        self.send_header('Content-Length', str(len(body)))
        self.send_header('Cache-Control', 'max-age=0, no-cache, no-store')
        for k, v in (headers or {}).items():
            self.send_header(k, str(v))
        self.end_headers()
        if self.command != 'HEAD':
            self.wfile.write(body)

    def _json(self, status, obj, headers=None):
        self._send(status, json.dumps(obj, indent=2, default=_jsonable).encode(), headers)

    def _error(self, e):
        self._json(e.status, dict(status=e.status, code=e.code, message=e.message), e.headers)

    def do_GET(self):
        self._dispatch()

    def do_POST(self):
        self._dispatch()

    def do_HEAD(self):
        self._dispatch()

    def _dispatch(self):
        self._read = False
        self.api_version = 'v2'
        st = self.st
        url = urllib.parse.urlsplit(self.path)
        query = dict(urllib.parse.parse_qsl(url.query))
        path = url.path
        try:
            if path.startswith('/_test/'):
                return self._control(path[7:])
            if path.startswith('/file/'):
                op = 'b2_download_file_by_name'
            elif path.startswith(('/b2api/v1/', '/b2api/v2/')):
                self.api_version = path[7:9]
                op = path[10:].split('/')[0]
            else:
                raise ApiError(404, 'not_found', 'unknown path %s' % path)
            with st.lock:
                st.calls[op] = st.calls.get(op, 0) + 1
                fault = st.faults[op].pop(0) if st.faults.get(op) else None
            if fault is not None:
                self._body()  # drain
                if fault.status == 0:
                    self.close_connection = True
                    return
                raise fault
            handler = getattr(self, 'op_' + op, None)
            if handler is None:
                raise ApiError(404, 'not_found', 'unsupported operation %s' % op)
            if op in ('b2_upload_file', 'b2_upload_part', 'b2_download_file_by_name',
                      'b2_download_file_by_id'):
                return handler(path, query)
            raw = self._body()
            params = dict(query)
            if raw:
                try:
                    params.update(json.loads(raw))
                except ValueError:
                    raise ApiError(400, 'bad_json', 'body is not valid JSON')
            with st.lock:
                try:
                    result = handler(params)
                except Exception as e:     # noqa: BLE001
                    raise translate(e, self.not_found_for.get(op, (404, 'not_found')))
            self._json(200, self._v1(result) if self.api_version == 'v1' else result)
        except ApiError as e:
            self._error(e)
        except Exception as e:       # noqa: BLE001
            self._error(translate(e))

    not_found_for = {
        'b2_delete_file_version': (400, 'file_not_present'),
        'b2_hide_file': (400, 'no_such_file'),
        'b2_get_upload_part_url': (400, 'bad_request'),
        'b2_list_parts': (400, 'bad_request'),
        'b2_finish_large_file': (400, 'bad_request'),
        'b2_cancel_large_file': (400, 'bad_request'),
    }

    def _v1(self, result):
        """v1 wire differences we know of: list entries carry "size", authorize has minimumPartSize."""
        if isinstance(result, dict):
            for f in result.get('files', []) if isinstance(result.get('files'), list) else []:
                f['size'] = f.get('contentLength', 0)
            if 'recommendedPartSize' in result:
                result['minimumPartSize'] = result['recommendedPartSize']
        return result

    # ---- control
    def _control(self, what):
        st = self.st
        raw = self._body()
        p = json.loads(raw) if raw else {}
        with st.lock:
            if what == 'fail':
                e = ApiError(int(p.get('status', 503)), p.get('code', 'service_unavailable'),
                             p.get('message', 'injected failure'),
                             {'Retry-After': p['retryAfter']} if 'retryAfter' in p else None)
                st.faults.setdefault(p['op'], []).extend([e] * int(p.get('times', 1)))
                return self._json(200, {'ok': True})
            if what == 'expire':
                st.sim.expired_auth_tokens.update(st.sim.auth_token_to_key)
                for u in st.uploads.values():
                    u['expired'] = True
                st.dl_tokens = {k: (b, pfx, 0) for k, (b, pfx, _) in st.dl_tokens.items()}
                return self._json(200, {'ok': True})
            if what == 'calls':
                if self.command == 'POST':
                    st.calls = {}
                    st.faults = {}
                return self._json(200, st.calls)
            if what == 'key':
                st.sim.key_id_to_key[p['keyId']] = KeySimulator(
                    st.account_id, 'restricted', p['keyId'], p['key'], p['capabilities'], None, None, None, None)
                return self._json(200, {'ok': True})
            if what == 'snapshot':
                st.sim.bucket_name_to_bucket[p['bucketName']].bucket_type = 'snapshot'
                return self._json(200, {'ok': True})
            if what == 'state':
                out = {}
                for name, b in st.sim.bucket_name_to_bucket.items():
                    out[name] = [dict(name=f.name, id=f.file_id, action=f.action,
                                      size=len(f.data_bytes or b''), sha1=f.content_sha1)
                                 for f in _versions(b)]
                return self._json(200, out)
        raise ApiError(404, 'not_found', what)

    # ---- account / buckets
    def op_b2_authorize_account(self, p):
        st = self.st
        auth = self.headers.get('Authorization', '')
        if not auth.startswith('Basic '):
            raise ApiError(401, 'bad_auth_token', 'Basic authorization required')
        try:
            key_id, key = base64.b64decode(auth[6:]).decode().split(':', 1)
        except Exception:
            raise ApiError(401, 'bad_auth_token', 'malformed Basic authorization')
        try:
            r = st.sim.authorize_account(st.base, key_id, key)
        except bx.InvalidAuthToken:
            raise ApiError(401, 'unauthorized', '')
        st.issued[r['authorizationToken']] = time.time()
        r['recommendedPartSize'] = r['absoluteMinimumPartSize'] = st.min_part
        # The hosts handed out are the one the client reached, so that a client behind a proxy
        # stays behind it for every later call, as it would with the service's own hosts.
        r['apiUrl'] = r['downloadUrl'] = self._base()
        r['s3ApiUrl'] = self._base() + '/s3-not-implemented'
        return r

    def op_b2_create_bucket(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        name = p.get('bucketName', '')
        if not 6 <= len(name) <= 50 or name.lower().startswith('b2-'):
            raise bad('Invalid bucketName: %s' % name)
        if p.get('bucketType') not in ('allPrivate', 'allPublic'):
            raise bad('Invalid bucketType: %s' % p.get('bucketType'))
        return st.sim.create_bucket(st.base, tok, p.get('accountId'), name, p['bucketType'],
                                    p.get('bucketInfo'), p.get('corsRules'), p.get('lifecycleRules'))

    def op_b2_delete_bucket(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        b = st.bucket(p.get('bucketId'))
        if b.file_id_to_file:
            raise ApiError(400, 'cannot_delete_non_empty_bucket', 'Cannot delete non-empty bucket')
        return st.sim.delete_bucket(st.base, tok, p.get('accountId'), b.bucket_id)

    def op_b2_list_buckets(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        r = st.sim.list_buckets(st.base, tok, p.get('accountId'), p.get('bucketId'), p.get('bucketName'))
        types = p.get('bucketTypes')
        if types and 'all' not in types:
            r['buckets'] = [b for b in r['buckets'] if b['bucketType'] in types]
        for b in r['buckets']:
            b['options'] = sorted(b.get('options') or [])
        return r

    # ---- small files
    def op_b2_get_upload_url(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        b = st.bucket(p.get('bucketId'))
        r = st.sim.get_upload_url(st.base, tok, b.bucket_id)
        url, utok = st.new_upload('file', r, b.bucket_id, self._base())
        return dict(bucketId=b.bucket_id, uploadUrl=url, authorizationToken=utok)

    def _upload_token(self, path, kind):
        st = self.st
        tok = self.headers.get('Authorization')
        u = st.uploads.get(tok)
        if u is None or u['kind'] != kind or u['path'] != path:
            raise ApiError(401, 'bad_auth_token', 'Invalid upload authorization token')
        if u['expired']:
            raise ApiError(401, 'expired_auth_token', 'Authorization token has expired')
        return tok, u

    def _sha1_header(self, data):
        sha1 = self.headers.get('X-Bz-Content-Sha1')
        if sha1 is None:
            raise bad('Missing header: X-Bz-Content-Sha1')
        if sha1 == 'do_not_verify':          # simulator raises ValueError on this
            return hashlib.sha1(data).hexdigest(), True
        if sha1 != 'hex_digits_at_end' and (len(sha1) != 40 or
                                            any(c not in '0123456789abcdefABCDEF' for c in sha1)):
            raise bad('Invalid X-Bz-Content-Sha1: %s' % sha1)
        return sha1.lower() if len(sha1) == 40 else sha1, False

    def op_b2_upload_file(self, path, query):
        st = self.st
        with st.lock:
            utok, u = self._upload_token(path, 'file')
            if utok in st.uploads_in_use:
                raise bad('more than one upload using auth token %s' % utok)
            st.uploads_in_use.add(utok)
        try:
            if self.headers.get('Content-Length') is None:
                raise ApiError(411, 'bad_request', 'Content-Length required')
            data = self._body()
            raw_name = self.headers.get('X-Bz-File-Name')
            if not raw_name:
                raise bad('Missing header: X-Bz-File-Name')
            name = b2_url_decode(raw_name)
            check_file_name(name)
            ctype = self.headers.get('Content-Type')
            if not ctype:
                raise bad('Missing header: Content-Type')
            if ctype == 'b2/x-auto':
                ctype = mimetypes.guess_type(name)[0] or 'application/octet-stream'
            infos = {k[len('X-Bz-Info-'):]: b2_url_decode(v) for k, v in self.headers.items()
                     if k.lower().startswith('x-bz-info-')}
            if len(infos) > 10:
                raise bad('too many file info headers (max 10)')
            sha1, unverified = self._sha1_header(data)
            with st.lock:
                r = st.sim.upload_file(u['sim_url'], u['sim_url'], name, len(data), ctype, sha1,
                                       infos, io.BytesIO(data))
                if unverified:
                    _, f = st.file_sim(r['fileId'])
                    f.content_sha1 = 'unverified:' + sha1
                    r['contentSha1'] = f.content_sha1
            self._json(200, r)
        except Exception as e:   # noqa: BLE001
            self._error(translate(e))
        finally:
            with st.lock:
                st.uploads_in_use.discard(utok)

    def op_b2_hide_file(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        b = st.bucket(p.get('bucketId'))
        name = p.get('fileName')
        vers = [f for f in _versions(b) if f.name == name and f.action != 'start']
        if not vers:
            raise ApiError(400, 'no_such_file', 'File not present: %s' % name)
        if vers[0].action == 'hide':
            raise ApiError(400, 'already_hidden', 'File already hidden: %s' % name)
        return st.sim.hide_file(st.base, tok, b.bucket_id, name)

    def op_b2_delete_file_version(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        try:
            b, f = st.file_sim(p.get('fileId'))
        except KeyError:
            raise bad('Bad file ID: %s' % p.get('fileId'))
        if f.name != p.get('fileName'):
            raise ApiError(400, 'file_not_present', 'File not present: %s %s' % (p.get('fileName'), p.get('fileId')))
        if f.action == 'start':
            raise bad('unfinished large file; use b2_cancel_large_file')
        r = st.sim.delete_file_version(st.base, tok, f.file_id, f.name)
        st.sim.file_id_to_bucket_id.pop(f.file_id, None)
        return r

    def op_b2_get_file_info(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        b, f = st.file_sim(p.get('fileId'))
        st.check_cap(tok, 'readFiles', b, f.name)
        return st.sim.get_file_info_by_id(st.base, tok, f.file_id)

    def op_b2_list_file_names(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        b = st.bucket(p.get('bucketId'))
        st.check_cap(tok, 'listFiles', b, p.get('prefix') or '')
        return _list(b, tok, p, versions=False)

    def op_b2_list_file_versions(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        b = st.bucket(p.get('bucketId'))
        st.check_cap(tok, 'listFiles', b, p.get('prefix') or '')
        return _list(b, tok, p, versions=True)

    def op_b2_get_download_authorization(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        b = st.bucket(p.get('bucketId'))
        st.check_cap(tok, 'shareFiles', b, p.get('fileNamePrefix', ''))
        secs = int(p.get('validDurationInSeconds', 0))
        if not 1 <= secs <= 604800:
            raise bad('validDurationInSeconds must be 1..604800')
        dtok = '3_' + secrets.token_urlsafe(24)
        st.dl_tokens[dtok] = (b.bucket_id, p.get('fileNamePrefix', ''), time.time() + secs)
        return dict(bucketId=b.bucket_id, fileNamePrefix=p.get('fileNamePrefix', ''),
                    authorizationToken=dtok)

    # ---- large files
    def op_b2_start_large_file(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        b = st.bucket(p.get('bucketId'))
        check_file_name(p.get('fileName', ''))
        ctype = p.get('contentType') or 'b2/x-auto'
        if ctype == 'b2/x-auto':
            ctype = mimetypes.guess_type(p.get('fileName', ''))[0] or 'application/octet-stream'
        r = st.sim.start_large_file(st.base, tok, b.bucket_id, p['fileName'], ctype, p.get('fileInfo') or {})
        r.pop('action', None) if self.api_version == 'v1' else None
        return r

    def _large(self, file_id):
        b, f = self.st.file_sim(file_id)
        if f.action != 'start':
            raise bad('No active upload for: %s' % file_id)
        return b, f

    def op_b2_get_upload_part_url(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        b, f = self._large(p.get('fileId'))
        r = st.sim.get_upload_part_url(st.base, tok, f.file_id)
        url, utok = st.new_upload('part', r, f.file_id, self._base())
        return dict(fileId=f.file_id, uploadUrl=url, authorizationToken=utok)

    def op_b2_upload_part(self, path, query):
        st = self.st
        with st.lock:
            utok, u = self._upload_token(path, 'part')
            if utok in st.uploads_in_use:
                raise bad('more than one upload using auth token %s' % utok)
            st.uploads_in_use.add(utok)
        try:
            if self.headers.get('Content-Length') is None:
                raise ApiError(411, 'bad_request', 'Content-Length required')
            data = self._body()
            try:
                part = int(self.headers.get('X-Bz-Part-Number', ''))
            except ValueError:
                raise bad('Missing or invalid header: X-Bz-Part-Number')
            if not 1 <= part <= 10000:
                raise bad('Part number must be in range 1 - 10000')
            sha1, _ = self._sha1_header(data)
            with st.lock:
                file_id = u['path'].split('/')[4]
                self._large(file_id)
                r = st.sim.upload_part(u['sim_url'], u['sim_url'], part, len(data), sha1, io.BytesIO(data))
            self._json(200, r)
        except Exception as e:   # noqa: BLE001
            self._error(translate(e, (400, 'bad_request')))
        finally:
            with st.lock:
                st.uploads_in_use.discard(utok)

    def op_b2_list_parts(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        b, f = self._large(p.get('fileId'))
        count = int(p.get('maxPartCount') or 100)
        if not 1 <= count <= 1000:
            raise bad('maxPartCount out of range')
        return st.sim.list_parts(st.base, tok, f.file_id, int(p.get('startPartNumber') or 1), count)

    def op_b2_finish_large_file(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        b, f = self._large(p.get('fileId'))
        sha1s = p.get('partSha1Array')
        if not isinstance(sha1s, list) or not sha1s:
            raise bad('partSha1Array is required')
        parts = [x for x in f.parts if x is not None]
        if len(sha1s) < 2 or len(parts) < 2:
            raise bad('large files must have at least 2 parts')
        for x in parts:
            if x.part_number < len(parts) and x.content_length < st.min_part:
                raise bad('Part number %d is smaller than minimum part size (%d)' % (x.part_number, st.min_part))
        return st.sim.finish_large_file(st.base, tok, f.file_id, sha1s)

    def op_b2_cancel_large_file(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        b, f = self._large(p.get('fileId'))
        r = st.sim.cancel_large_file(st.base, tok, f.file_id)
        st.sim.file_id_to_bucket_id.pop(f.file_id, None)
        return r

    def op_b2_list_unfinished_large_files(self, p):
        st = self.st
        tok = st.account_token(self.headers)
        b = st.bucket(p.get('bucketId'))
        return st.sim.list_unfinished_large_files(st.base, tok, b.bucket_id, p.get('startFileId'),
                                                  p.get('maxFileCount'), p.get('namePrefix'))

    # ---- downloads
    def _download_auth(self, bucket, name, query):
        st = self.st
        if bucket.bucket_type == 'allPublic':
            return
        tok = self.headers.get('Authorization') or query.get('Authorization')
        if not tok:
            raise ApiError(401, 'bad_auth_token', 'Authorization required for a private bucket')
        if tok in st.dl_tokens:
            bid, prefix, expiry = st.dl_tokens[tok]
            if time.time() > expiry:
                raise ApiError(401, 'expired_auth_token', 'Authorization token has expired')
            if bid != bucket.bucket_id or not name.startswith(prefix):
                raise ApiError(401, 'unauthorized', 'token not valid for this file')
            return
        tok = st.account_token(self.headers, query)
        st.check_cap(tok, 'readFiles', bucket, name)

    def _serve_file(self, f, query):
        data = f.data_bytes or b''
        size = len(data)
        headers = {k: v for k, v in f.as_download_headers(None).items()
                   if k.lower() not in ('content-length', 'content-type')}
        headers['Accept-Ranges'] = 'bytes'
        rng = self.headers.get('Range')
        status, body = 200, data
        # A range that is not of the forms "bytes=A-B", "bytes=A-" or "bytes=-N" is ignored, as
        # HTTP asks: the whole file is served.
        m = re.fullmatch(r'bytes=(\d*)-(\d*)', (rng or '').strip())
        if m and m.group(1) and m.group(2) and int(m.group(2)) < int(m.group(1)):
            m = None
        if m and (m.group(1) or m.group(2)):
            a, z = m.groups()
            if a == '':
                start, end = max(size - int(z), 0), size - 1
            else:
                start = int(a)
                end = min(int(z), size - 1) if z else size - 1
            if start >= size:
                raise ApiError(416, 'range_not_satisfiable', 'The range is not satisfiable',
                               {'Content-Range': 'bytes */%d' % size})
            status, body = 206, data[start:end + 1]
            headers['Content-Range'] = 'bytes %d-%d/%d' % (start, end, size)
        self._send(status, body, headers, ctype=f.content_type or 'application/octet-stream')

    def op_b2_download_file_by_name(self, path, query):
        st = self.st
        try:
            self._body()
            bucket_name, _, raw = path[len('/file/'):].partition('/')
            name = urllib.parse.unquote(raw)
            with st.lock:
                b = st.sim.bucket_name_to_bucket.get(bucket_name)
                if b is None:
                    raise ApiError(404, 'not_found', 'Bucket does not exist: %s' % bucket_name)
                self._download_auth(b, name, query)
                cur = [f for f in _versions(b) if f.name == name and f.action != 'start']
                if not cur or cur[0].action != 'upload':
                    raise ApiError(404, 'not_found', 'File not present: %s' % name)
                f = cur[0]
            self._serve_file(f, query)
        except Exception as e:   # noqa: BLE001
            self._error(translate(e))

    def op_b2_download_file_by_id(self, path, query):
        st = self.st
        try:
            raw = self._body()
            p = dict(query)
            if raw:
                p.update(json.loads(raw))
            with st.lock:
                b, f = st.file_sim(p.get('fileId'))
                self._download_auth(b, f.name, query)
                if f.action != 'upload':
                    raise ApiError(404, 'not_found', 'File not present: %s' % p.get('fileId'))
            self._serve_file(f, query)
        except Exception as e:   # noqa: BLE001
            self._error(translate(e))


class Server(ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = True


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument('--port', type=int, default=0)
    ap.add_argument('--key-id', default='000a1b2c3d4e5f60000000001')
    ap.add_argument('--key', default='K000' + 'x' * 27)
    ap.add_argument('--min-part-size', type=int, default=5 * 1000 * 1000)
    ap.add_argument('--token-ttl', type=float, default=0)
    ap.add_argument('-v', '--verbose', action='store_true')
    a = ap.parse_args()
    srv = Server(('127.0.0.1', a.port), Handler)
    srv.verbose = a.verbose
    base = 'http://127.0.0.1:%d' % srv.server_address[1]
    Handler.st = State(base, a.key_id, a.key, a.min_part_size, a.token_ttl)
    print(json.dumps(dict(url=base, keyId=a.key_id, key=a.key)), flush=True)
    try:
        srv.serve_forever()
    except KeyboardInterrupt:
        pass


if __name__ == '__main__':
    main()
