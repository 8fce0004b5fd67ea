#!/usr/bin/python3
"""An S3 server for tests: the calls that only Amazon S3 has, over TLS, with its host names.

Keeps buckets and objects in memory and checks what the service checks: signature version 4
in the Authorization header and in pre-signed URLs (wrong secret -> 403
SignatureDoesNotMatch), signature version 2 likewise, payload digests, Content-MD5, the clock.
Serves objects with their storage class and server-side encryption, refuses reads of the
archive classes until a restore has finished, restores (POST ?restore) that finish after a
delay set by the test, lifecycle configurations, the acceleration setting and its host, bucket
regions, listings (objects v1 and v2, versions), multipart uploads and batch deletes.

Buckets are addressed by virtual host ("<bucket>.<prefix>.<domain>", the prefix being "s3",
"s3-accelerate", a region or "s3.<region>") or in the path (host "s3.<domain>", a bare
address, "localhost").

Test control, without authentication: "POST /_test/restore-delay?seconds=N" sets how long a
restore takes from then on; "POST /_test/finish-restores" ends every running restore now;
"POST /_test/broken-answers?on=1" cuts lifecycle and acceleration answers in the middle ("on=0"
ends it).
"""

import argparse
import base64
import datetime
import email.utils
import hashlib
import hmac
import http.server
import re
import socketserver
import ssl
import sys
import threading
import time
import urllib.parse
import uuid
import xml.etree.ElementTree as ET

NS = "http://s3.amazonaws.com/doc/2006-03-01/"
ARCHIVE_CLASSES = ("GLACIER", "DEEP_ARCHIVE")
STORAGE_CLASSES = ("STANDARD", "STANDARD_IA", "REDUCED_REDUNDANCY", "ONEZONE_IA", "GLACIER",
                   "INTELLIGENT_TIERING", "DEEP_ARCHIVE", "GLACIER_IR")
TIERS = {"GLACIER": ("Expedited", "Standard", "Bulk"), "DEEP_ARCHIVE": ("Standard", "Bulk")}
V2_SUBRESOURCES = ("accelerate", "acl", "cors", "delete", "lifecycle", "location", "logging",
                   "notification", "partNumber", "policy", "requestPayment", "restore", "tagging",
                   "torrent", "uploadId", "uploads", "versionId", "versioning", "versions", "website",
                   "response-cache-control", "response-content-disposition",
                   "response-content-encoding", "response-content-language",
                   "response-content-type", "response-expires")
EMPTY_SHA256 = hashlib.sha256(b"").hexdigest()
SKEW = 900


class S3Error(Exception):
    def __init__(self, status, code, message, **extra):
        super().__init__(message)
        self.status, self.code, self.message, self.extra = status, code, message, extra


def http_date(t):
    return email.utils.formatdate(t, usegmt=True)


def iso(t):
    return datetime.datetime.fromtimestamp(t, datetime.timezone.utc).strftime("%Y-%m-%dT%H:%M:%S.000Z")


def xml_doc(root, children):
    """A document from nested (tag, value) pairs; value is text, a list of pairs, or None."""
    out = ['<?xml version="1.0" encoding="UTF-8"?>', '<%s xmlns="%s">' % (root, NS)]

    def emit(items):
        for tag, value in items:
            if value is None:
                continue
            if isinstance(value, list):
                out.append("<%s>" % tag)
                emit(value)
                out.append("</%s>" % tag)
            else:
                out.append("<%s>%s</%s>" % (tag, escape(str(value)), tag))
    emit(children)
    out.append("</%s>" % root)
    return "".join(out).encode()


def escape(text):
    return text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")


def uri_encode(text, encode_slash=True):
    safe = "-_.~" + ("" if encode_slash else "/")
    return urllib.parse.quote(text, safe=safe)


def parse_xml(body):
    try:
        root = ET.fromstring(body)
    except ET.ParseError:
        raise S3Error(400, "MalformedXML", "The XML you provided was not well-formed or did not "
                      "validate against our published schema")
    for element in root.iter():
        if "}" in element.tag:
            element.tag = element.tag.split("}", 1)[1]
    return root


class Store:
    def __init__(self):
        self.lock = threading.Lock()
        self.buckets = {}
        self.restore_delay = 2.0
        self.broken = False  # lifecycle and acceleration answers cut in the middle


class Object:
    def __init__(self, data, headers, storage_class, sse, etag=None):
        self.data = data
        self.headers = headers
        self.storage_class = storage_class
        self.sse = sse
        self.etag = etag or '"%s"' % hashlib.md5(data).hexdigest()
        self.modified = time.time()
        self.restore_done = None  # when the running or finished restore ends
        self.restore_days = 0

    def restored(self, now):
        return self.restore_done is not None and now >= self.restore_done

    def restore_header(self, now):
        if self.restore_done is None:
            return None
        if not self.restored(now):
            return 'ongoing-request="true"'
        expiry = self.restore_done + self.restore_days * 86400
        return 'ongoing-request="false", expiry-date="%s"' % http_date(expiry)


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_version = "AmazonS3"

    def log_message(self, fmt, *args):
        sys.stderr.write("%s %s\n" % (self.address_string(), fmt % args))

    def do_GET(self):
        self.handle_request("GET")

    def do_PUT(self):
        self.handle_request("PUT")

    def do_POST(self):
        self.handle_request("POST")

    def do_DELETE(self):
        self.handle_request("DELETE")

    def do_HEAD(self):
        self.handle_request("HEAD")

    # --- Plumbing ---------------------------------------------------------------------------

    def handle_request(self, method):
        self.method = method
        self.request_id = uuid.uuid4().hex[:16].upper()
        length = int(self.headers.get("Content-Length") or 0)
        self.body = self.rfile.read(length) if length else b""
        split = urllib.parse.urlsplit(self.path)
        self.raw_path, self.raw_query = split.path, split.query
        self.query = urllib.parse.parse_qsl(split.query, keep_blank_values=True)
        self.params = dict(self.query)
        try:
            if self.raw_path.startswith("/_test/"):
                return self.control()
            self.bucket, self.key = self.address()
            self.authenticate()
            self.check_content_md5()
            self.dispatch()
        except S3Error as e:
            self.send_error_document(e)

    def control(self):
        if self.raw_path == "/_test/restore-delay" and self.method == "POST":
            self.server.store.restore_delay = float(self.params.get("seconds", "0"))
            return self.reply(204)
        if self.raw_path == "/_test/broken-answers" and self.method == "POST":
            self.server.store.broken = self.params.get("on") == "1"
            return self.reply(204)
        if self.raw_path == "/_test/finish-restores" and self.method == "POST":
            now = time.time()
            with self.server.store.lock:
                for bucket in self.server.store.buckets.values():
                    for obj in bucket["objects"].values():
                        if obj.restore_done is not None and obj.restore_done > now:
                            obj.restore_done = now
            return self.reply(204)
        raise S3Error(404, "NoSuchKey", "Unknown test control")

    def address(self):
        host = (self.headers.get("Host") or "").rsplit(":", 1)[0].lower()
        domain = self.server.domain
        path = urllib.parse.unquote(self.raw_path)
        bucket = None
        if host.endswith("." + domain):
            labels = host[: -len(domain) - 1].split(".")
            # "p<port>" before the domain: the same service reached through a test's proxy.
            if len(labels) > 1 and re.fullmatch(r"p\d+", labels[-1]):
                labels = labels[:-1]
            for i in range(1, len(labels)):
                if is_prefix(".".join(labels[i:])):
                    bucket = ".".join(labels[:i])
                    self.prefix = ".".join(labels[i:])
                    break
        if bucket is None:
            self.prefix = None
            parts = path.lstrip("/").split("/", 1)
            bucket = parts[0] or None
            key = parts[1] if len(parts) > 1 else ""
            return bucket, key
        return bucket, path[1:]

    def reply(self, status, body=b"", headers=None, content_type="application/xml"):
        self.send_response(status)
        self.send_header("x-amz-request-id", self.request_id)
        self.send_header("Date", http_date(time.time()))
        for name, value in (headers or {}).items():
            self.send_header(name, value)
        if body or status not in (204, 304):
            if content_type and not any(n.lower() == "content-type" for n in (headers or {})):
                self.send_header("Content-Type", content_type)
            if not any(n.lower() == "content-length" for n in (headers or {})):
                self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        if self.method != "HEAD" and body:
            self.wfile.write(body)

    def send_error_document(self, e):
        children = [("Code", e.code), ("Message", e.message)]
        children += [(k, v) for k, v in e.extra.items()]
        children += [("RequestId", self.request_id)]
        body = ("<?xml version=\"1.0\" encoding=\"UTF-8\"?><Error>%s</Error>" % "".join(
            "<%s>%s</%s>" % (k, escape(str(v)), k) for k, v in children)).encode()
        self.reply(e.status, b"" if self.method == "HEAD" else body)

    # --- Authentication ---------------------------------------------------------------------

    def authenticate(self):
        auth = self.headers.get("Authorization")
        if auth and auth.startswith("AWS4-HMAC-SHA256 "):
            return self.check_v4_header(auth)
        if auth and auth.startswith("AWS "):
            return self.check_v2(auth[4:], self.headers.get("Date") or "", header=True)
        if "X-Amz-Signature" in self.params:
            return self.check_v4_query()
        if "Signature" in self.params and "AWSAccessKeyId" in self.params:
            expires = self.params.get("Expires", "0")
            if int(expires) < time.time():
                raise S3Error(403, "AccessDenied", "Request has expired")
            return self.check_v2("%s:%s" % (self.params["AWSAccessKeyId"], self.params["Signature"]),
                                 expires, header=False)
        raise S3Error(403, "AccessDenied", "Access Denied")

    def secret_of(self, access_key):
        if access_key != self.server.access_key:
            raise S3Error(403, "InvalidAccessKeyId",
                          "The AWS Access Key Id you provided does not exist in our records.")
        return self.server.secret_key

    def canonical_query(self, skip=()):
        pairs = []
        for item in self.raw_query.split("&") if self.raw_query else []:
            name, _, value = item.partition("=")
            name, value = urllib.parse.unquote(name), urllib.parse.unquote(value)
            if name in skip:
                continue
            pairs.append((uri_encode(name), uri_encode(value)))
        return "&".join("%s=%s" % p for p in sorted(pairs))

    def canonical_headers(self, signed):
        lines = []
        for name in signed:
            values = self.headers.get_all(name) or []
            if not values:
                raise S3Error(403, "AccessDenied", "Signed header %s is missing" % name)
            lines.append("%s:%s\n" % (name, ",".join(" ".join(v.split()) for v in values)))
        return "".join(lines)

    def v4_signature(self, secret, date, region, service, string_to_sign):
        key = ("AWS4" + secret).encode()
        for part in (date, region, service, "aws4_request"):
            key = hmac.new(key, part.encode(), hashlib.sha256).digest()
        return hmac.new(key, string_to_sign.encode(), hashlib.sha256).hexdigest()

    def check_scope(self, credential):
        parts = credential.split("/")
        if len(parts) != 5 or parts[3] != "s3" or parts[4] != "aws4_request":
            raise S3Error(400, "AuthorizationHeaderMalformed",
                          "The authorization header is malformed; the Credential is mal-formed")
        access_key, date, region = parts[0], parts[1], parts[2]
        bucket = self.server.store.buckets.get(self.bucket) if self.bucket else None
        # A request that is to be signed for the bucket's region, and is not.
        if bucket and region != bucket["region"] and "location" not in self.params:
            raise S3Error(400, "AuthorizationHeaderMalformed",
                          "The authorization header is malformed; the region '%s' is wrong; "
                          "expecting '%s'" % (region, bucket["region"]), Region=bucket["region"])
        return access_key, date, region

    def check_v4_header(self, auth):
        fields = dict(re.findall(r"(\w+)=([^,\s]+)", auth[len("AWS4-HMAC-SHA256 "):]))
        if not all(k in fields for k in ("Credential", "SignedHeaders", "Signature")):
            raise S3Error(400, "AuthorizationHeaderMalformed", "The authorization header is malformed")
        access_key, date, region = self.check_scope(fields["Credential"])
        secret = self.secret_of(access_key)
        stamp = self.headers.get("x-amz-date") or self.headers.get("Date") or ""
        self.check_clock(stamp)
        payload = self.headers.get("x-amz-content-sha256")
        if payload is None:
            raise S3Error(400, "InvalidRequest", "Missing required header for this request: "
                          "x-amz-content-sha256")
        if payload not in ("UNSIGNED-PAYLOAD", "STREAMING-AWS4-HMAC-SHA256-PAYLOAD") and \
                payload != hashlib.sha256(self.body).hexdigest():
            raise S3Error(400, "XAmzContentSHA256Mismatch",
                          "The provided 'x-amz-content-sha256' header does not match what was computed.")
        signed = fields["SignedHeaders"].split(";")
        if "host" not in signed:
            raise S3Error(403, "AccessDenied", "The host header must be signed")
        canonical = "\n".join([self.method, self.raw_path or "/", self.canonical_query(),
                               self.canonical_headers(signed), ";".join(signed), payload])
        scope = "%s/%s/s3/aws4_request" % (date, region)
        to_sign = "\n".join(["AWS4-HMAC-SHA256", stamp, scope, hashlib.sha256(canonical.encode()).hexdigest()])
        if not hmac.compare_digest(self.v4_signature(secret, date, region, "s3", to_sign), fields["Signature"]):
            raise S3Error(403, "SignatureDoesNotMatch", "The request signature we calculated does not "
                          "match the signature you provided. Check your key and signing method.",
                          StringToSign=to_sign, CanonicalRequest=canonical)

    def check_v4_query(self):
        p = self.params
        if p.get("X-Amz-Algorithm") != "AWS4-HMAC-SHA256":
            raise S3Error(400, "AuthorizationQueryParametersError", "X-Amz-Algorithm only supports "
                          "\"AWS4-HMAC-SHA256\"")
        access_key, date, region = self.check_scope(p.get("X-Amz-Credential", ""))
        secret = self.secret_of(access_key)
        stamp = p.get("X-Amz-Date", "")
        signed_at = parse_time(stamp)
        if signed_at is None:
            raise S3Error(403, "AccessDenied", "X-Amz-Date must be in the ISO8601 Long Format")
        expires = int(p.get("X-Amz-Expires", "0"))
        if expires > 604800:
            raise S3Error(400, "AuthorizationQueryParametersError", "X-Amz-Expires must be less than a "
                          "week (in seconds) that is; 604800 seconds")
        if time.time() > signed_at + expires:
            raise S3Error(403, "AccessDenied", "Request has expired")
        signed = p.get("X-Amz-SignedHeaders", "").split(";")
        canonical = "\n".join([self.method, self.raw_path or "/", self.canonical_query(("X-Amz-Signature",)),
                               self.canonical_headers(signed), ";".join(signed), "UNSIGNED-PAYLOAD"])
        scope = "%s/%s/s3/aws4_request" % (date, region)
        to_sign = "\n".join(["AWS4-HMAC-SHA256", stamp, scope, hashlib.sha256(canonical.encode()).hexdigest()])
        if not hmac.compare_digest(self.v4_signature(secret, date, region, "s3", to_sign), p["X-Amz-Signature"]):
            raise S3Error(403, "SignatureDoesNotMatch", "The request signature we calculated does not "
                          "match the signature you provided. Check your key and signing method.")

    def check_v2(self, credentials, date_line, header):
        access_key, _, signature = credentials.rpartition(":")
        secret = self.secret_of(access_key)
        amz = {}
        for name in self.headers.keys():
            lower = name.lower()
            if lower.startswith("x-amz-"):
                amz[lower] = ",".join(" ".join(v.split()) for v in self.headers.get_all(name))
        if header:
            stamp = self.headers.get("x-amz-date") or date_line
            self.check_clock(stamp)
            if "x-amz-date" in amz:
                date_line = ""
        # The bucket of a virtual host stands before the path; a path-style path has it already.
        resource = urllib.parse.unquote(self.raw_path) or "/"
        if self.prefix is not None:
            resource = "/" + self.bucket + resource
        sub = sorted((k, v) for k, v in self.query if k in V2_SUBRESOURCES)
        if sub:
            resource += "?" + "&".join(k + ("=" + v if v else "") for k, v in sub)
        to_sign = "\n".join([self.method, self.headers.get("Content-MD5", ""),
                             self.headers.get("Content-Type", ""), date_line]) + "\n"
        to_sign += "".join("%s:%s\n" % (k, amz[k]) for k in sorted(amz)) + resource
        expected = base64.b64encode(hmac.new(secret.encode(), to_sign.encode(), hashlib.sha1).digest()).decode()
        if not hmac.compare_digest(expected, signature):
            raise S3Error(403, "SignatureDoesNotMatch", "The request signature we calculated does not "
                          "match the signature you provided. Check your key and signing method.",
                          StringToSign=to_sign)

    def check_clock(self, stamp):
        when = parse_time(stamp)
        if when is None:
            raise S3Error(403, "AccessDenied", "AWS authentication requires a valid Date or "
                          "x-amz-date header")
        if abs(time.time() - when) > SKEW:
            # Amazon names both clocks, the request's as it was sent and its own in ISO form.
            raise S3Error(403, "RequestTimeTooSkewed", "The difference between the request time and "
                          "the current time is too large.", RequestTime=stamp, ServerTime=iso(time.time()),
                          MaxAllowedSkewMilliseconds=SKEW * 1000)

    def check_content_md5(self):
        given = self.headers.get("Content-MD5")
        if given is None:
            return
        try:
            digest = base64.b64decode(given, validate=True)
        except ValueError:
            digest = b""
        if len(digest) != 16:
            raise S3Error(400, "InvalidDigest", "The Content-MD5 you specified was invalid.")
        if digest != hashlib.md5(self.body).digest():
            raise S3Error(400, "BadDigest", "The Content-MD5 you specified did not match what we received.")

    # --- Requests ---------------------------------------------------------------------------

    def dispatch(self):
        store = self.server.store
        with store.lock:
            if not self.bucket:
                if self.method == "GET":
                    return self.list_buckets()
                raise S3Error(405, "MethodNotAllowed", "The specified method is not allowed against "
                              "this resource.")
            if self.method == "PUT" and not self.key and not self.query:
                return self.create_bucket()
            bucket = store.buckets.get(self.bucket)
            if bucket is None:
                raise S3Error(404, "NoSuchBucket", "The specified bucket does not exist",
                              BucketName=self.bucket)
            if self.prefix == "s3-accelerate" and bucket["accelerate"] != "Enabled":
                raise S3Error(400, "InvalidRequest", "S3 Transfer Acceleration is not configured on "
                              "this bucket")
            if not self.key:
                return self.bucket_request(bucket)
            return self.object_request(bucket)

    def list_buckets(self):
        buckets = [("Bucket", [("Name", name), ("CreationDate", iso(b["created"]))])
                   for name, b in sorted(self.server.store.buckets.items())]
        owner = [("ID", "owner"), ("DisplayName", "owner")]
        self.reply(200, xml_doc("ListAllMyBucketsResult", [("Owner", owner), ("Buckets", buckets)]))

    def create_bucket(self):
        region = "us-east-1"
        if self.body:
            root = parse_xml(self.body)
            constraint = root.find("LocationConstraint")
            if constraint is not None and constraint.text:
                region = constraint.text
            if region == "us-east-1":
                raise S3Error(400, "InvalidLocationConstraint", "The specified location-constraint "
                              "is not valid")
        buckets = self.server.store.buckets
        if self.bucket in buckets:
            raise S3Error(409, "BucketAlreadyOwnedByYou", "Your previous request to create the named "
                          "bucket succeeded and you already own it.", BucketName=self.bucket)
        if not re.fullmatch(r"[a-z0-9][a-z0-9.-]{1,61}[a-z0-9]", self.bucket):
            raise S3Error(400, "InvalidBucketName", "The specified bucket is not valid.",
                          BucketName=self.bucket)
        buckets[self.bucket] = {"region": region, "created": time.time(), "objects": {}, "uploads": {},
                                "lifecycle": None, "accelerate": None}
        self.reply(200, headers={"Location": "/" + self.bucket})

    def bucket_request(self, bucket):
        m, p = self.method, self.params
        if "lifecycle" in p:
            return self.lifecycle(bucket)
        if "accelerate" in p:
            return self.accelerate(bucket)
        if m == "GET" and "location" in p:
            region = "" if bucket["region"] == "us-east-1" else bucket["region"]
            return self.reply(200, ('<?xml version="1.0" encoding="UTF-8"?>'
                                    '<LocationConstraint xmlns="%s">%s</LocationConstraint>'
                                    % (NS, region)).encode())
        if m == "GET" and "uploads" in p:
            return self.list_uploads(bucket)
        if m == "GET" and "versions" in p:
            return self.list_versions(bucket)
        if m == "GET":
            return self.list_objects(bucket)
        if m == "HEAD":
            return self.reply(200, headers={"x-amz-bucket-region": bucket["region"]})
        if m == "POST" and "delete" in p:
            return self.delete_objects(bucket)
        if m == "DELETE" and not p:
            if bucket["objects"] or bucket["uploads"]:
                raise S3Error(409, "BucketNotEmpty", "The bucket you tried to delete is not empty",
                              BucketName=self.bucket)
            del self.server.store.buckets[self.bucket]
            return self.reply(204)
        raise S3Error(405, "MethodNotAllowed", "The specified method is not allowed against this resource.")

    def lifecycle(self, bucket):
        if self.method == "GET":
            if bucket["lifecycle"] is None:
                raise S3Error(404, "NoSuchLifecycleConfiguration", "The lifecycle configuration does "
                              "not exist", BucketName=self.bucket)
            body = bucket["lifecycle"]
            return self.reply(200, body[: len(body) // 2] if self.server.store.broken else body)
        if self.method == "PUT":
            if "Content-MD5" not in self.headers and not any(
                    h.lower().startswith("x-amz-checksum-") for h in self.headers.keys()):
                raise S3Error(400, "InvalidRequest", "Missing required header for this request: Content-MD5")
            root = parse_xml(self.body)
            rules = root.findall("Rule") if root.tag == "LifecycleConfiguration" else []
            if not rules or any(r.find("Status") is None or r.find("Status").text not in
                                ("Enabled", "Disabled") for r in rules):
                raise S3Error(400, "MalformedXML", "The XML you provided was not well-formed or did "
                              "not validate against our published schema")
            bucket["lifecycle"] = self.body
            return self.reply(200)
        if self.method == "DELETE":
            bucket["lifecycle"] = None
            return self.reply(204)
        raise S3Error(405, "MethodNotAllowed", "The specified method is not allowed against this resource.")

    def accelerate(self, bucket):
        if self.method == "GET":
            status = [("Status", bucket["accelerate"])] if bucket["accelerate"] else []
            body = xml_doc("AccelerateConfiguration", status)
            return self.reply(200, body[: len(body) // 2] if self.server.store.broken else body)
        if self.method == "PUT":
            status = parse_xml(self.body).find("Status")
            if status is None or status.text not in ("Enabled", "Suspended"):
                raise S3Error(400, "MalformedXML", "The XML you provided was not well-formed or did "
                              "not validate against our published schema")
            if "." in self.bucket:
                raise S3Error(400, "InvalidRequest", "S3 Transfer Acceleration is not supported for "
                              "buckets with periods (.) in their names")
            bucket["accelerate"] = status.text
            return self.reply(200)
        raise S3Error(405, "MethodNotAllowed", "The specified method is not allowed against this resource.")

    def page(self, bucket, prefix, delimiter, after, max_keys):
        """Keys and common prefixes after `after`, up to max_keys entries; and whether more follow."""
        entries, seen = [], set()
        for key in sorted(bucket["objects"]):
            if not key.startswith(prefix) or key <= after:
                continue
            if delimiter:
                cut = key.find(delimiter, len(prefix))
                if cut >= 0:
                    common = key[: cut + len(delimiter)]
                    if common in seen or common <= after:
                        continue
                    if len(entries) == max_keys:
                        return entries, True
                    seen.add(common)
                    entries.append(("prefix", common))
                    continue
            if len(entries) == max_keys:
                return entries, True
            entries.append(("key", key))
        return entries, False

    def max_keys(self):
        try:
            value = int(self.params.get("max-keys", "1000"))
        except ValueError:
            raise S3Error(400, "InvalidArgument", "Provided max-keys not an integer or within integer range")
        if value < 0:
            raise S3Error(400, "InvalidArgument", "Argument maxKeys must be an integer between 0 and 2147483647")
        return min(value, 1000)

    def object_entry(self, tag, key, obj, extra=()):
        enc = self.params.get("encoding-type") == "url"
        return (tag, [("Key", uri_encode(key, False) if enc else key)] + list(extra) + [
            ("LastModified", iso(obj.modified)), ("ETag", obj.etag), ("Size", len(obj.data)),
            ("StorageClass", obj.storage_class), ("Owner", [("ID", "owner"), ("DisplayName", "owner")])])

    def list_objects(self, bucket):
        p = self.params
        prefix, delimiter, limit = p.get("prefix", ""), p.get("delimiter", ""), self.max_keys()
        v2 = p.get("list-type") == "2"
        after = p.get("continuation-token") or p.get("start-after", "") if v2 else p.get("marker", "")
        entries, truncated = self.page(bucket, prefix, delimiter, after, limit)
        enc = (lambda s: uri_encode(s, False)) if p.get("encoding-type") == "url" else (lambda s: s)
        body = [("Name", self.bucket), ("Prefix", enc(prefix))]
        if v2:
            body += [("KeyCount", len(entries)), ("MaxKeys", limit)]
            if "continuation-token" in p:
                body.append(("ContinuationToken", p["continuation-token"]))
            if truncated:
                body.append(("NextContinuationToken", entries[-1][1]))
        else:
            body += [("Marker", enc(after)), ("MaxKeys", limit)]
            if truncated and delimiter:
                body.append(("NextMarker", enc(entries[-1][1])))
        if delimiter:
            body.append(("Delimiter", enc(delimiter)))
        if "encoding-type" in p:
            body.append(("EncodingType", p["encoding-type"]))
        body.append(("IsTruncated", "true" if truncated else "false"))
        for kind, name in entries:
            if kind == "key":
                body.append(self.object_entry("Contents", name, bucket["objects"][name]))
        for kind, name in entries:
            if kind == "prefix":
                body.append(("CommonPrefixes", [("Prefix", enc(name))]))
        self.reply(200, xml_doc("ListBucketResult", body))

    def list_versions(self, bucket):
        p = self.params
        prefix, delimiter, limit = p.get("prefix", ""), p.get("delimiter", ""), self.max_keys()
        entries, truncated = self.page(bucket, prefix, delimiter, p.get("key-marker", ""), limit)
        body = [("Name", self.bucket), ("Prefix", prefix), ("KeyMarker", p.get("key-marker", "")),
                ("VersionIdMarker", p.get("version-id-marker", ""))]
        if truncated:
            # After a common prefix, the last key that it rolls up: a listing goes on from there.
            kind, last = entries[-1]
            if kind == "prefix":
                last = max(k for k in bucket["objects"] if k.startswith(last))
            body += [("NextKeyMarker", last), ("NextVersionIdMarker", "null")]
        body += [("MaxKeys", limit)]
        if delimiter:
            body.append(("Delimiter", delimiter))
        body.append(("IsTruncated", "true" if truncated else "false"))
        for kind, name in entries:
            if kind == "key":
                body.append(self.object_entry("Version", name, bucket["objects"][name],
                                              [("VersionId", "null"), ("IsLatest", "true")]))
        for kind, name in entries:
            if kind == "prefix":
                body.append(("CommonPrefixes", [("Prefix", name)]))
        self.reply(200, xml_doc("ListVersionsResult", body))

    def list_uploads(self, bucket):
        uploads = [("Upload", [("Key", u["key"]), ("UploadId", uid), ("StorageClass", u["class"]),
                               ("Initiated", iso(u["initiated"]))])
                   for uid, u in sorted(bucket["uploads"].items(), key=lambda i: (i[1]["key"], i[0]))
                   if u["key"].startswith(self.params.get("prefix", ""))]
        self.reply(200, xml_doc("ListMultipartUploadsResult", [("Bucket", self.bucket), ("IsTruncated", "false")]
                                + uploads))

    def delete_objects(self, bucket):
        if "Content-MD5" not in self.headers and not any(
                h.lower().startswith("x-amz-checksum-") for h in self.headers.keys()):
            raise S3Error(400, "InvalidRequest", "Missing required header for this request: Content-MD5")
        root = parse_xml(self.body)
        objects = root.findall("Object")
        if not objects or len(objects) > 1000:
            raise S3Error(400, "MalformedXML", "The XML you provided was not well-formed or did not "
                          "validate against our published schema")
        quiet = (root.findtext("Quiet") or "").lower() == "true"
        result = []
        for o in objects:
            key = o.findtext("Key") or ""
            bucket["objects"].pop(key, None)
            if not quiet:
                result.append(("Deleted", [("Key", key)]))
        self.reply(200, xml_doc("DeleteResult", result))

    # --- Objects ----------------------------------------------------------------------------

    def new_object_headers(self):
        """Class, encryption and metadata of a new object, from the request."""
        storage_class = self.headers.get("x-amz-storage-class", "STANDARD")
        if storage_class not in STORAGE_CLASSES:
            raise S3Error(400, "InvalidStorageClass", "The storage class you specified is not valid",
                          StorageClassRequested=storage_class)
        sse = self.headers.get("x-amz-server-side-encryption")
        if sse is not None and sse not in ("AES256", "aws:kms"):
            raise S3Error(400, "InvalidArgument", "The encryption method specified is not supported",
                          ArgumentName="x-amz-server-side-encryption", ArgumentValue=sse)
        kept = {}
        for name in self.headers.keys():
            lower = name.lower()
            if lower.startswith("x-amz-meta-") or lower in ("content-type", "content-encoding",
                                                            "content-disposition", "cache-control",
                                                            "content-language", "expires"):
                kept[lower] = self.headers.get(name)
        kept.setdefault("content-type", "binary/octet-stream")
        return kept, storage_class, sse

    def object_request(self, bucket):
        m, p = self.method, self.params
        if m == "POST" and "uploads" in p:
            return self.initiate_upload(bucket)
        if "uploadId" in p:
            return self.upload_request(bucket)
        if m == "POST" and "restore" in p:
            return self.restore(bucket)
        if m == "PUT":
            if "x-amz-copy-source" in self.headers:
                return self.copy_object(bucket)
            headers, storage_class, sse = self.new_object_headers()
            obj = Object(self.body, headers, storage_class, sse)
            bucket["objects"][self.key] = obj
            return self.reply(200, headers=self.object_headers(obj, with_content=False))
        if m in ("GET", "HEAD"):
            return self.get_object(bucket)
        if m == "DELETE":
            bucket["objects"].pop(self.key, None)
            return self.reply(204)
        raise S3Error(405, "MethodNotAllowed", "The specified method is not allowed against this resource.")

    def object_headers(self, obj, with_content=True):
        headers = {"ETag": obj.etag}
        if obj.sse:
            headers["x-amz-server-side-encryption"] = obj.sse
        if obj.storage_class != "STANDARD":
            headers["x-amz-storage-class"] = obj.storage_class
        if with_content:
            headers["Last-Modified"] = http_date(obj.modified)
            headers["Accept-Ranges"] = "bytes"
            for name, value in obj.headers.items():
                headers[name] = value
            restore = obj.restore_header(time.time())
            if restore:
                headers["x-amz-restore"] = restore
        return headers

    def find(self, bucket):
        obj = bucket["objects"].get(self.key)
        if obj is None:
            raise S3Error(404, "NoSuchKey", "The specified key does not exist.", Key=self.key)
        return obj

    def get_object(self, bucket):
        obj = self.find(bucket)
        headers = self.object_headers(obj)
        if self.method == "GET" and obj.storage_class in ARCHIVE_CLASSES and not obj.restored(time.time()):
            raise S3Error(403, "InvalidObjectState", "The operation is not valid for the object's "
                          "storage class", StorageClass=obj.storage_class)
        data, status = obj.data, 200
        spec = self.headers.get("Range")
        match = re.fullmatch(r"bytes=(\d*)-(\d*)", spec or "")
        if match and (match.group(1) or match.group(2)):
            size = len(data)
            if match.group(1):
                first = int(match.group(1))
                last = min(int(match.group(2)), size - 1) if match.group(2) else size - 1
            else:
                first, last = max(0, size - int(match.group(2))), size - 1
            if first >= size or first > last:
                raise S3Error(416, "InvalidRange", "The requested range is not satisfiable",
                              ActualObjectSize=size, RangeRequested=spec)
            headers["Content-Range"] = "bytes %d-%d/%d" % (first, last, size)
            data, status = data[first:last + 1], 206
        headers["Content-Length"] = str(len(data))
        self.reply(status, data, headers, content_type=None)

    def copy_object(self, bucket):
        source = urllib.parse.unquote(self.headers["x-amz-copy-source"]).lstrip("/")
        source_bucket, _, source_key = source.partition("/")
        src = self.server.store.buckets.get(source_bucket, {}).get("objects", {}).get(source_key)
        if src is None:
            raise S3Error(404, "NoSuchKey", "The specified key does not exist.", Key=source_key)
        if src.storage_class in ARCHIVE_CLASSES and not src.restored(time.time()):
            raise S3Error(403, "InvalidObjectState", "Operation is not valid for the source object's "
                          "storage class")
        headers, storage_class, sse = self.new_object_headers()
        if self.headers.get("x-amz-metadata-directive", "COPY") == "COPY":
            headers = dict(src.headers)
        obj = Object(src.data, headers, storage_class, sse)
        bucket["objects"][self.key] = obj
        self.reply(200, xml_doc("CopyObjectResult", [("LastModified", iso(obj.modified)), ("ETag", obj.etag)]))

    def restore(self, bucket):
        obj = self.find(bucket)
        root = parse_xml(self.body) if self.body else None
        if root is None or root.tag != "RestoreRequest":
            raise S3Error(400, "MalformedXML", "The XML you provided was not well-formed or did not "
                          "validate against our published schema")
        try:
            days = int(root.findtext("Days") or "")
        except ValueError:
            raise S3Error(400, "MalformedXML", "The XML you provided was not well-formed or did not "
                          "validate against our published schema")
        if days < 1:
            raise S3Error(400, "InvalidArgument", "Days must be greater than 0")
        tier = root.findtext("GlacierJobParameters/Tier") or root.findtext("Tier") or "Standard"
        if obj.storage_class not in ARCHIVE_CLASSES:
            raise S3Error(403, "InvalidObjectState", "Restore is not allowed for the object's current "
                          "storage class", StorageClass=obj.storage_class)
        if tier not in ("Expedited", "Standard", "Bulk"):
            raise S3Error(400, "MalformedXML", "The XML you provided was not well-formed or did not "
                          "validate against our published schema")
        if tier not in TIERS[obj.storage_class]:
            raise S3Error(403, "InvalidTier", "The restore tier is not valid for the object's "
                          "storage class")
        now = time.time()
        if obj.restore_done is not None and not obj.restored(now):
            raise S3Error(409, "RestoreAlreadyInProgress", "Object restore is already in progress")
        if obj.restored(now):
            obj.restore_days = days
            return self.reply(200)
        obj.restore_done = now + self.server.store.restore_delay
        obj.restore_days = days
        self.reply(202)

    # --- Multipart uploads ------------------------------------------------------------------

    def initiate_upload(self, bucket):
        headers, storage_class, sse = self.new_object_headers()
        upload_id = uuid.uuid4().hex
        bucket["uploads"][upload_id] = {"key": self.key, "headers": headers, "class": storage_class,
                                        "sse": sse, "parts": {}, "initiated": time.time()}
        reply_headers = {"x-amz-server-side-encryption": sse} if sse else {}
        self.reply(200, xml_doc("InitiateMultipartUploadResult", [
            ("Bucket", self.bucket), ("Key", self.key), ("UploadId", upload_id)]), reply_headers)

    def upload_request(self, bucket):
        upload = bucket["uploads"].get(self.params["uploadId"])
        if upload is None or upload["key"] != self.key:
            raise S3Error(404, "NoSuchUpload", "The specified upload does not exist. The upload ID "
                          "may be invalid, or the upload may have been aborted or completed.",
                          UploadId=self.params["uploadId"])
        m = self.method
        if m == "PUT":
            # Class and encryption belong to the upload; a part that names them is refused.
            for name in ("x-amz-storage-class", "x-amz-server-side-encryption"):
                if name in self.headers:
                    raise S3Error(400, "InvalidArgument", "%s is not allowed on an upload part" % name,
                                  ArgumentName=name)
            try:
                number = int(self.params.get("partNumber", ""))
            except ValueError:
                number = 0
            if not 1 <= number <= 10000:
                raise S3Error(400, "InvalidArgument", "Part number must be an integer between 1 and "
                              "10000, inclusive", ArgumentName="partNumber")
            etag = '"%s"' % hashlib.md5(self.body).hexdigest()
            upload["parts"][number] = (self.body, etag, time.time())
            headers = {"ETag": etag}
            if upload["sse"]:
                headers["x-amz-server-side-encryption"] = upload["sse"]
            return self.reply(200, headers=headers)
        if m == "GET":
            return self.list_parts(upload)
        if m == "DELETE":
            del bucket["uploads"][self.params["uploadId"]]
            return self.reply(204)
        if m == "POST":
            return self.complete_upload(bucket, upload)
        raise S3Error(405, "MethodNotAllowed", "The specified method is not allowed against this resource.")

    def list_parts(self, upload):
        marker = int(self.params.get("part-number-marker", "0") or 0)
        limit = min(int(self.params.get("max-parts", "1000")), 1000)
        numbers = [n for n in sorted(upload["parts"]) if n > marker]
        page, truncated = numbers[:limit], len(numbers) > limit
        body = [("Bucket", self.bucket), ("Key", self.key), ("UploadId", self.params["uploadId"]),
                ("PartNumberMarker", marker), ("MaxParts", limit),
                ("IsTruncated", "true" if truncated else "false"), ("StorageClass", upload["class"])]
        if page:
            body.append(("NextPartNumberMarker", page[-1]))
        for n in page:
            data, etag, when = upload["parts"][n]
            body.append(("Part", [("PartNumber", n), ("LastModified", iso(when)), ("ETag", etag),
                                  ("Size", len(data))]))
        self.reply(200, xml_doc("ListPartsResult", body))

    def complete_upload(self, bucket, upload):
        root = parse_xml(self.body)
        chosen = []
        for part in root.findall("Part"):
            try:
                number = int(part.findtext("PartNumber") or "")
            except ValueError:
                raise S3Error(400, "MalformedXML", "The XML you provided was not well-formed")
            chosen.append((number, (part.findtext("ETag") or "").strip()))
        if not chosen:
            raise S3Error(400, "MalformedXML", "The XML you provided was not well-formed or did not "
                          "validate against our published schema")
        if [n for n, _ in chosen] != sorted(set(n for n, _ in chosen)):
            raise S3Error(400, "InvalidPartOrder", "The list of parts was not in ascending order. The "
                          "parts list must be specified in order by part number.")
        data, digests = [], b""
        for i, (number, etag) in enumerate(chosen):
            part = upload["parts"].get(number)
            if part is None or part[1].strip('"') != etag.strip('"'):
                raise S3Error(400, "InvalidPart", "One or more of the specified parts could not be "
                              "found.", PartNumber=number)
            if i < len(chosen) - 1 and len(part[0]) < self.server.min_part:
                raise S3Error(400, "EntityTooSmall", "Your proposed upload is smaller than the minimum "
                              "allowed object size.", PartNumber=number)
            data.append(part[0])
            digests += hashlib.md5(part[0]).digest()
        etag = '"%s-%d"' % (hashlib.md5(digests).hexdigest(), len(chosen))
        obj = Object(b"".join(data), upload["headers"], upload["class"], upload["sse"], etag)
        bucket["objects"][self.key] = obj
        del bucket["uploads"][self.params["uploadId"]]
        headers = {"x-amz-server-side-encryption": obj.sse} if obj.sse else {}
        self.reply(200, xml_doc("CompleteMultipartUploadResult", [
            ("Location", "https://%s/%s" % (self.headers.get("Host"), self.key)), ("Bucket", self.bucket),
            ("Key", self.key), ("ETag", etag)]), headers)


def is_prefix(text):
    return (text in ("s3", "s3-accelerate") or
            re.fullmatch(r"(s3[.-])?[a-z]{2}(-gov)?-[a-z]+-\d", text) is not None)


def parse_time(stamp):
    for fmt in ("%Y%m%dT%H%M%SZ", "%a, %d %b %Y %H:%M:%S GMT"):
        try:
            return datetime.datetime.strptime(stamp, fmt).replace(tzinfo=datetime.timezone.utc).timestamp()
        except ValueError:
            pass
    return None


class Server(socketserver.ThreadingMixIn, http.server.HTTPServer):
    daemon_threads = True
    allow_reuse_address = True


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--port", type=int, default=25040)
    parser.add_argument("--cert", required=True)
    parser.add_argument("--key", required=True)
    parser.add_argument("--domain", default="amazon.test")
    parser.add_argument("--access-key", default="AKIAAMAZONTEST000001")
    parser.add_argument("--secret-key", default="amazon-test-secret/Key+0123456789abcdefghij")
    parser.add_argument("--min-part", type=int, default=5 * 1024 * 1024)
    args = parser.parse_args()

    server = Server(("127.0.0.1", args.port), Handler)
    server.store = Store()
    server.domain = args.domain
    server.access_key, server.secret_key = args.access_key, args.secret_key
    server.min_part = args.min_part
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(args.cert, args.key)
    server.socket = context.wrap_socket(server.socket, server_side=True)
    print("listening on https://127.0.0.1:%d" % args.port, file=sys.stderr, flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
