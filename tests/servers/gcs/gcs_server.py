#!/usr/bin/python3
"""A Google Cloud Storage XML-interface server for tests, with the OAuth token endpoints.

    gcs_server.py --port P --tls-port T --dir STATE_DIR

It keeps state (buckets, objects with MD5, multipart uploads, issued tokens) and checks every
credential for real:
- GOOG1 signatures (HMAC-SHA-1 over the request's string to sign) and signed URLs (HMAC-SHA-1
  for the HMAC key, RSA-SHA-256 for the service account, checked against its certificate);
  a wrong secret gets 403 "SignatureDoesNotMatch";
- bearer tokens that it issued and that have not expired;
- the JSON Web Token of a service account (RS256 against the certificate of its PKCS#12 key,
  issuer, audience, scope, issue and expiry times); the one-time code and the refresh token of
  the installed application with the build's OAuth client; the token-info check.

Two listeners on 127.0.0.1:
- T speaks TLS with a certificate of the test's own CA for the service's fixed host names
  (storage.googleapis.com, www.googleapis.com, accounts.google.com, oauth2.googleapis.com,
  localhost) and serves them all, told apart by the Host header;
- P is a plain HTTP proxy: CONNECT to one of those names on port 443 is tunnelled to T, so that
  a client configured with this proxy reaches the fixed https names through its real code path.
  Plain requests to P under /_admin/ drive the server: info, stats, faults, token lifetimes.
"""
import argparse
import base64
import hashlib
import hmac
import re
import json
import os
import secrets
import select
import socket
import ssl
import sys
import threading
import time
import urllib.parse
import xml.etree.ElementTree as ET
from email.utils import formatdate, parsedate_to_datetime
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
from xml.sax.saxutils import escape

from cryptography import x509
from cryptography.hazmat.primitives import hashes
from cryptography.hazmat.primitives.asymmetric import padding

HOSTS = {'storage.googleapis.com', 'www.googleapis.com', 'accounts.google.com', 'oauth2.googleapis.com',
         'localhost'}
HMAC_ID, HMAC_SECRET = 'GOOG1TESTACCESSID00000000', 'dGVzdC1zZWNyZXQtb2YtdGhlLWdjcy1zZXJ2ZXI='
SA_EMAIL = 'backup-test@norvik-test.iam.gserviceaccount.com'
PROJECT = 'norvik-test'
INIT_CODE = '4/test-one-time-code'
REFRESH = '1//test-refresh-token'
SCOPE = 'https://www.googleapis.com/auth/devstorage.full_control'
AUDIENCES = {'https://www.googleapis.com/oauth2/v4/token', 'https://oauth2.googleapis.com/token',
             'https://accounts.google.com/o/oauth2/token'}
SUBRESOURCES = {'acl', 'lifecycle', 'location', 'logging', 'notification', 'policy', 'requestPayment',
                'torrent', 'uploads', 'versionId', 'versioning', 'versions', 'cors', 'storageClass',
                'billing', 'websiteConfig', 'encryptionConfig', 'defaultObjectAcl', 'compose', 'tagging'}
MIN_PART = 5 * 1024 * 1024
NS = 'http://doc.s3.amazonaws.com/2006-03-01'


class Err(Exception):
    def __init__(self, status, code, msg, extra=''):
        super().__init__(msg)
        self.status, self.code, self.msg, self.extra = status, code, msg, extra


def b64url(s):
    return base64.urlsafe_b64decode(s + '=' * (-len(s) % 4))


def xml_doc(body):
    return ("<?xml version='1.0' encoding='UTF-8'?>" + body).encode()


class State:
    def __init__(self, sa_key, client_id, client_secret):
        self.lock = threading.Lock()
        self.buckets = {}        # name -> {'objects': {key: obj}, 'created': t, 'location': s, 'class': s}
        self.uploads = {}        # id -> {'bucket', 'key', 'parts': {n: (md5hex, data)}, 'ctype', 'meta'}
        self.tokens = {}         # access token -> expiry (epoch seconds)
        self.refresh_tokens = {REFRESH}
        self.codes = {INIT_CODE}
        self.sa_key = sa_key
        self.client_id, self.client_secret = client_id, client_secret
        self.lifetime = 3600     # "expires_in" of the next tokens
        self.faults = []         # [{'status', 'code', 'count', 'method', 'host'}]
        self.stats = {'jwt': 0, 'code': 0, 'refresh': 0, 'tokeninfo': 0, 'rejected_tokens': 0,
                      'hmac': 0, 'bearer': 0, 'signed_url': 0, 'parts': 0, 'faults': 0}
        self.gen = int(time.time() * 1e6)

    def fault_for(self, method, host):
        for f in self.faults:
            if f['count'] and (not f['method'] or f['method'] == method) and (not f['host'] or f['host'] == host):
                f['count'] -= 1
                self.stats['faults'] += 1
                return f
        return None


class Handler(BaseHTTPRequestHandler):
    protocol_version = 'HTTP/1.1'
    state: State = None

    def log_message(self, fmt, *a):
        sys.stderr.write('gcs: ' + fmt % a + '\n')

    # ---------------------------------------------------------------- plumbing
    def body(self):
        if getattr(self, '_body', None) is None:
            if 'chunked' in (self.headers.get('Transfer-Encoding') or '').lower():
                data = b''
                while True:
                    size = int(self.rfile.readline().split(b';')[0], 16)
                    if size == 0:
                        while self.rfile.readline() not in (b'\r\n', b'\n', b''):
                            pass
                        break
                    data += self.rfile.read(size)
                    self.rfile.readline()
                self._body = data
            else:
                n = int(self.headers.get('Content-Length') or 0)
                self._body = self.rfile.read(n) if n else b''
        return self._body

    def send(self, status, body=b'', headers=(), ctype='application/xml; charset=UTF-8'):
        self.send_response(status)
        self.send_header('Content-Type', ctype)
        self.send_header('Content-Length', str(len(body)))
        for k, v in headers:
            self.send_header(k, v)
        self.end_headers()
        if self.command != 'HEAD':
            self.wfile.write(body)

    def send_json(self, status, obj):
        self.send(status, json.dumps(obj).encode(), ctype='application/json; charset=UTF-8')

    def xml_error(self, e):
        self.send(e.status, xml_doc('<Error><Code>%s</Code><Message>%s</Message>%s</Error>'
                                    % (e.code, escape(e.msg), e.extra)))

    def host(self):
        return (self.headers.get('Host') or '').split(':')[0].lower()

    def do_GET(self): self.dispatch()
    def do_HEAD(self): self.dispatch()
    def do_PUT(self): self.dispatch()
    def do_POST(self): self.dispatch()
    def do_DELETE(self): self.dispatch()

    def do_CONNECT(self):
        if self.server.tls:
            return self.send(405)
        host, _, port = self.path.rpartition(':')
        if host.lower() not in HOSTS or not port.isdigit():
            self.log_message('CONNECT refused: %s', self.path)
            return self.send(403, b'not a host of this server', ctype='text/plain')
        # Port 443 is the TLS listener; another port is a local relay in front of it (a test's
        # fault proxy), reached on the loopback.
        target = self.server.tls_port if port == '443' else int(port)
        try:
            upstream = socket.create_connection(('127.0.0.1', target))
        except OSError:
            return self.send(502, b'no listener', ctype='text/plain')
        self.send_response(200, 'Connection established')
        self.end_headers()
        self.wfile.flush()
        client = self.connection
        try:
            while True:
                ready, _, _ = select.select([client, upstream], [], [], 300)
                if not ready:
                    break
                for s in ready:
                    data = s.recv(65536)
                    if not data:
                        return
                    (upstream if s is client else client).sendall(data)
        except OSError:
            pass
        finally:
            upstream.close()
            self.close_connection = True

    def dispatch(self):
        self._body = None          # one handler serves every request of a kept-alive connection
        url = urllib.parse.urlsplit(self.path)
        if not self.server.tls:
            if url.path.startswith('/_admin/'):
                return self.admin(url)
            # A plain client's proxied request for http://<one of the hosts>/...: served here.
            if url.scheme != 'http' or (url.hostname or '') not in HOSTS:
                return self.send(400, b'use CONNECT, a proxied http URL of the service, or /_admin/',
                                 ctype='text/plain')
        host = self.host() if self.server.tls else url.hostname
        st = self.state
        with st.lock:
            fault = st.fault_for(self.command, host)
        if fault:
            self.body()
            if fault['code'] == 'json':
                return self.send_json(fault['status'], {'error': 'backendError', 'error_description': 'fault'})
            return self.xml_error(Err(fault['status'], fault['code'], 'Injected fault.'))
        # The body is read before the state is locked: a slow or stalled client holds up no one.
        self.body()
        try:
            if host in ('www.googleapis.com', 'accounts.google.com', 'oauth2.googleapis.com'):
                return self.oauth(host, url)
            how = self.authenticate(url)
            self.log_message('auth %s: %s %s', how, self.command, self.path)
            bucket, _, key = url.path[1:].partition('/')
            bucket = urllib.parse.unquote(bucket)
            key = urllib.parse.unquote(key)
            q = dict(urllib.parse.parse_qsl(url.query, keep_blank_values=True))
            with st.lock:
                return self.route(bucket, key, q, how)
        except Err as e:
            self.log_message('%s %s -> %d %s: %s', self.command, self.path, e.status, e.code, e.msg)
            self.body()
            self.xml_error(e)

    # ---------------------------------------------------------------- admin
    def admin(self, url):
        st, q = self.state, dict(urllib.parse.parse_qsl(url.query))
        self.body()
        with st.lock:
            if url.path == '/_admin/info':
                d = self.server.dir
                return self.send_json(200, {
                    'ca': os.path.join(d, 'ca.pem'),
                    'service_account_p12': base64.b64encode(open(os.path.join(d, 'sa.p12'), 'rb').read()).decode(),
                    'other_p12': base64.b64encode(open(os.path.join(d, 'other.p12'), 'rb').read()).decode(),
                    'service_account': SA_EMAIL, 'project': PROJECT, 'hmac_id': HMAC_ID, 'hmac_secret': HMAC_SECRET,
                    'init_code': INIT_CODE, 'refresh_token': REFRESH,
                    'proxy': 'http://127.0.0.1:%d' % self.server.server_address[1],
                    'tls_port': self.server.tls_port})
            if url.path == '/_admin/stats':
                return self.send_json(200, st.stats)
            if url.path == '/_admin/lifetime':          # "expires_in" of the next tokens
                st.lifetime = int(q['seconds'])
                return self.send_json(200, {'lifetime': st.lifetime})
            if url.path == '/_admin/fault':             # the next `count` matching requests fail
                st.faults.append({'status': int(q.get('status', 503)), 'code': q.get('code', 'ServiceUnavailable'),
                                  'count': int(q.get('count', 1)), 'method': q.get('method'),
                                  'host': q.get('host')})
                return self.send_json(200, {'faults': len(st.faults)})
            if url.path == '/_admin/expire-tokens':     # every token issued so far runs out now
                for t in st.tokens:
                    st.tokens[t] = 0
                return self.send_json(200, {'expired': len(st.tokens)})
            if url.path == '/_admin/revoke':            # refresh tokens and codes stop working
                st.refresh_tokens.clear()
                st.codes.clear()
                return self.send_json(200, {})
            if url.path == '/_admin/reset':
                st.faults.clear()
                st.lifetime = 3600
                st.refresh_tokens, st.codes = {REFRESH}, {INIT_CODE}
                for k in st.stats:
                    st.stats[k] = 0
                return self.send_json(200, {})
        self.send(404, b'unknown admin path', ctype='text/plain')

    # ---------------------------------------------------------------- OAuth
    def issue_token(self, extra=None):
        tok = 'ya29.' + secrets.token_urlsafe(32)
        self.state.tokens[tok] = time.time() + self.state.lifetime
        answer = {'access_token': tok, 'expires_in': self.state.lifetime, 'token_type': 'Bearer'}
        answer.update(extra or {})
        return self.send_json(200, answer)

    def oauth_error(self, status, code, text):
        self.log_message('token endpoint refused: %s %s', code, text)
        self.state.stats['rejected_tokens'] += 1
        return self.send_json(status, {'error': code, 'error_description': text})

    def check_client(self, form):
        # Both fields must be sent and be the build's client. A build without one sends empty
        # values, which are then accepted (the service would refuse them).
        return form.get('client_id') == self.state.client_id and form.get('client_secret') == self.state.client_secret

    def oauth(self, host, url):
        st = self.state
        path = url.path
        if self.command == 'GET' and host == 'www.googleapis.com' and path == '/oauth2/v3/tokeninfo':
            tok = dict(urllib.parse.parse_qsl(url.query)).get('access_token', '')
            with st.lock:
                st.stats['tokeninfo'] += 1
                exp = st.tokens.get(tok)
            if exp is None or exp < time.time():
                return self.send_json(400, {'error': 'invalid_token', 'error_description': 'Invalid Value'})
            return self.send_json(200, {'azp': st.client_id, 'aud': st.client_id, 'scope': SCOPE,
                                        'exp': str(int(exp)), 'expires_in': str(int(exp - time.time())),
                                        'access_type': 'offline'})
        endpoints = {('www.googleapis.com', '/oauth2/v4/token'), ('accounts.google.com', '/o/oauth2/token'),
                     ('oauth2.googleapis.com', '/token')}
        if self.command != 'POST' or (host, path) not in endpoints:
            return self.send_json(404, {'error': 'not_found'})
        if not (self.headers.get('Content-Type') or '').startswith('application/x-www-form-urlencoded'):
            return self.oauth_error(400, 'invalid_request', 'form content type required')
        form = dict(urllib.parse.parse_qsl(self.body().decode(errors='replace'), keep_blank_values=True))
        grant = form.get('grant_type')
        with st.lock:
            if grant == 'urn:ietf:params:oauth:grant-type:jwt-bearer':
                problem = self.check_jwt(form.get('assertion', ''))
                if problem:
                    return self.oauth_error(400, 'invalid_grant', problem)
                st.stats['jwt'] += 1
                return self.issue_token()
            if not self.check_client(form):
                return self.oauth_error(401, 'invalid_client', 'The OAuth client was not found.')
            if grant == 'authorization_code':
                if (host, path) != ('www.googleapis.com', '/oauth2/v4/token') and host != 'oauth2.googleapis.com':
                    return self.oauth_error(400, 'invalid_request', 'code grant not served here')
                if form.get('redirect_uri') != 'urn:ietf:wg:oauth:2.0:oob':
                    return self.oauth_error(400, 'redirect_uri_mismatch', 'Bad Request')
                if form.get('code') not in st.codes:
                    return self.oauth_error(400, 'invalid_grant', 'Malformed auth code.')
                st.codes.discard(form['code'])           # a code is good once
                st.stats['code'] += 1
                return self.issue_token({'refresh_token': REFRESH})
            if grant == 'refresh_token':
                if form.get('refresh_token') not in st.refresh_tokens:
                    return self.oauth_error(400, 'invalid_grant', 'Token has been expired or revoked.')
                st.stats['refresh'] += 1
                return self.issue_token()
        return self.oauth_error(400, 'unsupported_grant_type', 'Invalid grant_type: %s' % grant)

    def check_jwt(self, assertion):
        seg = assertion.split('.')
        if len(seg) != 3:
            return 'Invalid JWT: not three segments'
        try:
            header, claims = json.loads(b64url(seg[0])), json.loads(b64url(seg[1]))
        except ValueError:
            return 'Invalid JWT: segments are not JSON'
        if header.get('alg') != 'RS256':
            return 'Invalid JWT: alg'
        try:
            self.state.sa_key.verify(b64url(seg[2]), ('%s.%s' % (seg[0], seg[1])).encode(), padding.PKCS1v15(),
                                     hashes.SHA256())
        except Exception:
            return 'Invalid JWT Signature.'
        if claims.get('iss') != SA_EMAIL:
            return 'Invalid grant: account not found'
        if claims.get('aud') not in AUDIENCES:
            return 'Invalid JWT: aud %r' % claims.get('aud')
        if claims.get('scope') != SCOPE and 'devstorage' not in (claims.get('scope') or '') \
                and 'cloud-platform' not in (claims.get('scope') or ''):
            return 'Invalid JWT: scope %r' % claims.get('scope')
        try:
            iat, exp = int(claims.get('iat')), int(claims.get('exp'))
        except (TypeError, ValueError):
            return 'Invalid JWT: iat and exp must be integers'
        now = time.time()
        if not (iat - 300 <= now < exp and exp - iat <= 3600):
            return ('Invalid JWT: Token must be a short-lived token (60 minutes) and in a reasonable timeframe. '
                    'Check your iat and exp values in the JWT claim.')
        return None

    # ---------------------------------------------------------------- request credentials
    def string_to_sign(self, url):
        h = {k.lower(): ','.join(v.strip() for v in self.headers.get_all(k)) for k in self.headers.keys()}
        date = '' if 'x-goog-date' in h else h.get('date', '')
        ext = ''.join('%s:%s\n' % (k, h[k]) for k in sorted(h) if k.startswith('x-goog-'))
        path = url.path
        qs = sorted((k, v) for k, v in urllib.parse.parse_qsl(url.query, keep_blank_values=True) if k in SUBRESOURCES)
        if qs:
            path += '?' + '&'.join(k + ('=' + urllib.parse.quote(v, safe='-_.~:') if v else '') for k, v in qs)
        return '%s\n%s\n%s\n%s\n%s%s' % (self.command, h.get('content-md5', ''), h.get('content-type', ''),
                                         date, ext, path)

    def authenticate(self, url):
        st = self.state
        auth = self.headers.get('Authorization', '')
        q = dict(urllib.parse.parse_qsl(url.query, keep_blank_values=True))
        if not auth and 'Signature' in q:
            return self.check_signed_url(url, q)
        if auth.startswith('GOOG1 '):
            access, _, sig = auth[6:].partition(':')
            if access != HMAC_ID:
                raise Err(403, 'InvalidAccessKeyId', 'The Google Cloud Storage access key Id you provided does not '
                                                     'exist in our records.')
            sts = self.string_to_sign(url)
            want = base64.b64encode(hmac.new(HMAC_SECRET.encode(), sts.encode(), hashlib.sha1).digest()).decode()
            if not hmac.compare_digest(want, sig):
                raise Err(403, 'SignatureDoesNotMatch', 'The request signature we calculated does not match the '
                          'signature you provided. Check your Google secret key and signing method.',
                          '<StringToSign>%s</StringToSign>' % escape(sts))
            d = self.headers.get('x-goog-date') or self.headers.get('Date')
            try:
                skew = abs(parsedate_to_datetime(d).timestamp() - time.time())
            except (TypeError, ValueError):
                raise Err(400, 'MissingSecurityHeader', 'Your request was missing a required header: Date.')
            if skew > 900:
                raise Err(403, 'RequestTimeTooSkewed', 'The difference between the request time and the '
                          "server's time is too large.", '<RequestTime>%s</RequestTime><ServerTime>%s</ServerTime>'
                          % (escape(d), time.strftime('%Y-%m-%dT%H:%M:%SZ', time.gmtime())))
            with st.lock:
                st.stats['hmac'] += 1
            return 'hmac'
        if auth.startswith('Bearer '):
            with st.lock:
                exp = st.tokens.get(auth[7:])
            if exp is None or exp < time.time():
                raise Err(401, 'AuthenticationRequired', 'Invalid Credentials')
            with st.lock:
                st.stats['bearer'] += 1
            return 'oauth'
        raise Err(401, 'AuthenticationRequired', 'Anonymous caller does not have storage.objects.get access.')

    def check_signed_url(self, url, q):
        if self.command not in ('GET', 'HEAD'):
            raise Err(403, 'AccessDenied', 'Signed URLs here are for reading.')
        try:
            expires = int(q.get('Expires', ''))
        except ValueError:
            raise Err(400, 'InvalidArgument', 'Expires must be a number.', '<ArgumentName>Expires</ArgumentName>')
        sts = 'GET\n%s\n%s\n%d\n%s' % (self.headers.get('Content-MD5', ''), self.headers.get('Content-Type', ''),
                                        expires, urllib.parse.unquote(url.path))
        access, sig = q.get('GoogleAccessId', ''), q.get('Signature', '')
        if access == HMAC_ID:
            want = base64.b64encode(hmac.new(HMAC_SECRET.encode(), sts.encode(), hashlib.sha1).digest()).decode()
            good = hmac.compare_digest(want, sig)
        elif access == SA_EMAIL:
            try:
                self.state.sa_key.verify(base64.b64decode(sig), sts.encode(), padding.PKCS1v15(), hashes.SHA256())
                good = True
            except Exception:
                good = False
        else:
            raise Err(403, 'InvalidAccessKeyId', 'The access id of the signed URL is unknown.')
        if not good:
            raise Err(403, 'SignatureDoesNotMatch', 'The request signature we calculated does not match the signature '
                      'you provided.', '<StringToSign>%s</StringToSign>' % escape(sts))
        if expires < time.time():
            raise Err(400, 'ExpiredToken', 'The provided token has expired.')
        with self.state.lock:
            self.state.stats['signed_url'] += 1
        return 'signed-url'

    # ---------------------------------------------------------------- storage
    def route(self, bucket, key, q, how):
        st, m = self.state, self.command
        if how == 'oauth' and not bucket and not self.headers.get('x-goog-project-id'):
            raise Err(400, 'MissingProjectId', 'A project id is required for this request.')
        if not bucket:
            if m != 'GET':
                raise Err(405, 'MethodNotAllowed', 'The specified method is not allowed against this resource.')
            items = ''.join('<Bucket><Name>%s</Name><CreationDate>%s</CreationDate></Bucket>'
                            % (escape(b), time.strftime('%Y-%m-%dT%H:%M:%S.000Z', time.gmtime(v['created'])))
                            for b, v in sorted(st.buckets.items()))
            return self.send(200, xml_doc("<ListAllMyBucketsResult xmlns='%s'><Owner><ID>%s</ID></Owner>"
                                          "<Buckets>%s</Buckets></ListAllMyBucketsResult>" % (NS, PROJECT, items)))
        if not key:
            return self.bucket_request(bucket, q)
        b = st.buckets.get(bucket)
        if b is None:
            self.body()
            raise Err(404, 'NoSuchBucket', 'The specified bucket does not exist.')
        objects = b['objects']
        if m == 'POST' and 'uploads' in q:
            self.body()
            uid = secrets.token_urlsafe(24)
            st.uploads[uid] = {'bucket': bucket, 'key': key, 'parts': {}, 'ctype': self.headers.get('Content-Type'),
                               'meta': self.meta_headers()}
            return self.send(200, xml_doc("<InitiateMultipartUploadResult xmlns='%s'><Bucket>%s</Bucket><Key>%s</Key>"
                                          "<UploadId>%s</UploadId></InitiateMultipartUploadResult>"
                                          % (NS, escape(bucket), escape(key), uid)))
        if 'uploadId' in q:
            return self.multipart(bucket, key, q)
        if m == 'PUT':
            data = self.body()
            md5 = self.headers.get('Content-MD5')
            if md5 and base64.b64decode(md5) != hashlib.md5(data).digest():
                raise Err(400, 'BadDigest', 'The Content-MD5 you specified did not match what was received.')
            o = self.store_object(objects, key, data, self.headers.get('Content-Type'), self.meta_headers())
            return self.send(200, headers=self.object_headers(o))
        o = objects.get(key)
        if o is None:
            self.body()
            raise Err(404, 'NoSuchKey', 'The specified key does not exist.')
        if m == 'DELETE':
            del objects[key]
            return self.send(204)
        if m in ('GET', 'HEAD'):
            data, headers, status = o['data'], self.object_headers(o), 200
            rng = self.headers.get('Range') or ''
            # A range that is not one well-formed interval is ignored, as HTTP servers do.
            m_ = re.fullmatch(r'bytes=(\d*)-(\d*)', rng)
            if m_ and (m_.group(1) or m_.group(2)) and not (m_.group(1) and m_.group(2) and int(m_.group(2)) < int(m_.group(1))):
                a, _, z = rng[6:].partition('-')
                start = int(a) if a else max(len(data) - int(z), 0)
                end = min(int(z), len(data) - 1) if a and z else len(data) - 1
                if start >= len(data):
                    raise Err(416, 'InvalidRange', 'The requested range cannot be satisfied.')
                headers.append(('Content-Range', 'bytes %d-%d/%d' % (start, end, len(data))))
                data, status = data[start:end + 1], 206
            return self.send(status, data, headers, ctype=o['ctype'])
        raise Err(405, 'MethodNotAllowed', 'The specified method is not allowed against this resource.')

    def bucket_request(self, bucket, q):
        st, m = self.state, self.command
        if m == 'PUT':
            body = self.body()
            if not (3 <= len(bucket) <= 63) or not all(c.islower() or c.isdigit() or c in '-_.' for c in bucket) \
                    or not bucket[0].isalnum() or not bucket[-1].isalnum():
                raise Err(400, 'InvalidBucketName', 'The specified bucket is not valid.',
                          '<BucketName>%s</BucketName>' % escape(bucket))
            location, sclass = 'US', 'STANDARD'
            if body:
                try:
                    root = ET.fromstring(body)
                except ET.ParseError:
                    raise Err(400, 'MalformedBucketConfiguration', 'The XML you provided was not well-formed.')
                location = (root.findtext('LocationConstraint') or location).upper()
                sclass = (root.findtext('StorageClass') or sclass).upper()
            if bucket in st.buckets:
                raise Err(409, 'BucketAlreadyOwnedByYou', 'Your previous request to create the named bucket '
                                                          'succeeded and you already own it.')
            st.buckets[bucket] = {'objects': {}, 'created': time.time(), 'location': location, 'class': sclass}
            return self.send(200)
        b = st.buckets.get(bucket)
        if b is None:
            raise Err(404, 'NoSuchBucket', 'The specified bucket does not exist.')
        if m == 'DELETE':
            if b['objects']:
                raise Err(409, 'BucketNotEmpty', 'The bucket you tried to delete was not empty.')
            del st.buckets[bucket]
            return self.send(204)
        if m in ('GET', 'HEAD'):
            if 'location' in q:
                return self.send(200, xml_doc('<LocationConstraint>%s</LocationConstraint>' % b['location']))
            if 'acl' in q or 'defaultObjectAcl' in q:
                return self.send(200, xml_doc('<AccessControlList><Owner><ID>%s</ID></Owner><Entries><Entry>'
                                              '<Scope type="GroupByDomain"/><Permission>FULL_CONTROL</Permission>'
                                              '</Entry></Entries></AccessControlList>' % PROJECT))
            if 'storageClass' in q:
                return self.send(200, xml_doc('<StorageClass>%s</StorageClass>' % b['class']))
            empty = {'cors': 'CorsConfig', 'versioning': 'VersioningConfiguration',
                     'lifecycle': 'LifecycleConfiguration', 'logging': 'Logging',
                     'websiteConfig': 'WebsiteConfiguration', 'billing': 'BillingConfiguration',
                     'encryptionConfig': 'EncryptionConfiguration', 'tagging': 'Tagging'}
            for name, root in empty.items():
                if name in q:        # nothing configured: the empty document (what gsutil reads)
                    return self.send(200, xml_doc('<%s/>' % root))
            if set(q) & SUBRESOURCES:
                raise Err(501, 'NotImplemented', 'This server does not serve that sub-resource.')
            return self.list_objects(bucket, b['objects'], q)
        raise Err(405, 'MethodNotAllowed', 'The specified method is not allowed against this resource.')

    def meta_headers(self):
        keep = {'content-encoding', 'cache-control', 'content-disposition', 'content-language'}
        return {k.lower(): v for k, v in self.headers.items() if k.lower().startswith('x-goog-meta-') or k.lower() in keep}

    def object_headers(self, o):
        return [('ETag', '"%s"' % o['etag']), ('Last-Modified', formatdate(o['mtime'], usegmt=True)),
                ('x-goog-generation', str(o['gen'])), ('x-goog-metageneration', '1'),
                ('x-goog-hash', 'md5=' + base64.b64encode(o['md5']).decode()),
                ('x-goog-stored-content-length', str(len(o['data']))), ('x-goog-storage-class', 'STANDARD')] + \
            list(o['meta'].items())

    def store_object(self, objects, key, data, ctype, meta, etag=None):
        self.state.gen += 1
        md5 = hashlib.md5(data).digest()
        o = {'data': data, 'ctype': ctype or 'application/octet-stream', 'meta': meta, 'md5': md5,
             'etag': etag or md5.hex(), 'mtime': time.time(), 'gen': self.state.gen}
        objects[key] = o
        return o

    def multipart(self, bucket, key, q):
        st, m = self.state, self.command
        up = st.uploads.get(q['uploadId'])
        if up is None or up['bucket'] != bucket or up['key'] != key:
            self.body()
            raise Err(404, 'NoSuchUpload', 'The specified multipart upload does not exist.')
        if m == 'PUT':
            try:
                n = int(q.get('partNumber', ''))
            except ValueError:
                n = 0
            if not 1 <= n <= 10000:
                self.body()
                raise Err(400, 'InvalidArgument', 'Part number must be an integer between 1 and 10000.',
                          '<ArgumentName>partNumber</ArgumentName>')
            data = self.body()
            md5 = hashlib.md5(data).hexdigest()
            up['parts'][n] = (md5, data)
            st.stats['parts'] += 1
            return self.send(200, headers=[('ETag', '"%s"' % md5)])
        if m == 'DELETE':
            del st.uploads[q['uploadId']]
            return self.send(204)
        if m == 'POST':
            try:
                root = ET.fromstring(self.body())
            except ET.ParseError:
                raise Err(400, 'MalformedXML', 'The XML you provided was not well-formed.')
            listed = [(int(p.findtext('PartNumber') or 0), (p.findtext('ETag') or '').strip('"'))
                      for p in root.iter('Part')]
            if not listed:
                raise Err(400, 'MalformedXML', 'The XML you provided lists no part.')
            if [n for n, _ in listed] != sorted(n for n, _ in listed):
                raise Err(400, 'InvalidPartOrder', 'The list of parts was not in ascending order.')
            data = b''
            for i, (n, tag) in enumerate(listed):
                part = up['parts'].get(n)
                if part is None or part[0] != tag:
                    raise Err(400, 'InvalidPart', 'One or more of the specified parts could not be found or the '
                                                  'specified entity tag might not have matched the part\'s entity tag.')
                if i < len(listed) - 1 and len(part[1]) < MIN_PART:
                    raise Err(400, 'EntityTooSmall', 'Your proposed upload is smaller than the minimum allowed '
                                                     'object size.')
                data += part[1]
            etag = '%s-%d' % (hashlib.md5(b''.join(bytes.fromhex(up['parts'][n][0]) for n, _ in listed)).hexdigest(),
                              len(listed))
            o = self.store_object(st.buckets[bucket]['objects'], key, data, up['ctype'], up['meta'], etag)
            del st.uploads[q['uploadId']]
            return self.send(200, xml_doc("<CompleteMultipartUploadResult xmlns='%s'><Location>https://storage."
                                          "googleapis.com/%s/%s</Location><Bucket>%s</Bucket><Key>%s</Key>"
                                          "<ETag>\"%s\"</ETag></CompleteMultipartUploadResult>"
                                          % (NS, escape(bucket), escape(urllib.parse.quote(key)), escape(bucket),
                                             escape(key), o['etag'])))
        if m == 'GET':
            parts = ''.join('<Part><PartNumber>%d</PartNumber><ETag>"%s"</ETag><Size>%d</Size></Part>'
                            % (n, p[0], len(p[1])) for n, p in sorted(up['parts'].items()))
            return self.send(200, xml_doc("<ListPartsResult xmlns='%s'><Bucket>%s</Bucket><Key>%s</Key><UploadId>%s"
                                          "</UploadId>%s</ListPartsResult>"
                                          % (NS, escape(bucket), escape(key), q['uploadId'], parts)))
        raise Err(405, 'MethodNotAllowed', 'The specified method is not allowed against this resource.')

    def list_objects(self, bucket, objects, q):
        prefix, marker, delim = q.get('prefix', ''), q.get('marker', ''), q.get('delimiter', '')
        try:
            maxk = int(q.get('max-keys', 1000))
        except ValueError:
            raise Err(400, 'InvalidArgument', 'max-keys must be a number.', '<ArgumentName>max-keys</ArgumentName>')
        maxk = min(max(maxk, 0), 1000)
        contents, prefixes, truncated, last = [], [], False, None
        for k in sorted(objects):
            if k <= marker or not k.startswith(prefix):
                continue
            if delim and delim in k[len(prefix):]:
                cp = k[:k.index(delim, len(prefix)) + len(delim)]
                if cp in prefixes or cp <= marker:
                    continue
                entry = ('p', cp)
            else:
                entry = ('k', k)
            if len(contents) + len(prefixes) == maxk:
                truncated = True
                break
            (prefixes if entry[0] == 'p' else contents).append(entry[1])
            last = entry[1]
        xml = ["<ListBucketResult xmlns='%s'><Name>%s</Name><Prefix>%s</Prefix><Marker>%s</Marker>"
               % (NS, escape(bucket), escape(prefix), escape(marker))]
        if truncated and last is not None:
            xml.append('<NextMarker>%s</NextMarker>' % escape(last))
        xml.append('<IsTruncated>%s</IsTruncated>' % ('true' if truncated else 'false'))
        for k in contents:
            o = objects[k]
            xml.append('<Contents><Key>%s</Key><Generation>%d</Generation><MetaGeneration>1</MetaGeneration>'
                       '<LastModified>%s</LastModified><ETag>"%s"</ETag><Size>%d</Size></Contents>'
                       % (escape(k), o['gen'], time.strftime('%Y-%m-%dT%H:%M:%S.000Z', time.gmtime(o['mtime'])),
                          o['etag'], len(o['data'])))
        for p in prefixes:
            xml.append('<CommonPrefixes><Prefix>%s</Prefix></CommonPrefixes>' % escape(p))
        xml.append('</ListBucketResult>')
        return self.send(200, xml_doc(''.join(xml)))


class Server(ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = True
    context = None

    def finish_request(self, request, client_address):
        # The TLS handshake happens on the connection's own thread: a client that stalls in it
        # holds up no other.
        if self.context:
            try:
                request = self.context.wrap_socket(request, server_side=True)
            except (ssl.SSLError, OSError):
                return
        self.RequestHandlerClass(request, client_address, self)


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument('--port', type=int, required=True)
    ap.add_argument('--tls-port', type=int, required=True)
    ap.add_argument('--dir', required=True)
    a = ap.parse_args()
    cert = x509.load_pem_x509_certificate(open(os.path.join(a.dir, 'sa_cert.pem'), 'rb').read())
    Handler.state = State(cert.public_key(), os.environ.get('GCS_CLIENT_ID', ''),
                          os.environ.get('GCS_CLIENT_SECRET', ''))

    tls = Server(('127.0.0.1', a.tls_port), Handler)
    ctx = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    ctx.load_cert_chain(os.path.join(a.dir, 'server.pem'), os.path.join(a.dir, 'server.key'))
    tls.context = ctx
    tls.tls = True
    plain = Server(('127.0.0.1', a.port), Handler)
    plain.tls, plain.tls_port, plain.dir = False, a.tls_port, a.dir
    tls.dir = a.dir
    threading.Thread(target=tls.serve_forever, daemon=True).start()
    sys.stderr.write('gcs: proxy and admin on 127.0.0.1:%d, TLS on 127.0.0.1:%d\n' % (a.port, a.tls_port))
    plain.serve_forever()


if __name__ == '__main__':
    main()
