# Known answers for SigningTest.cpp, computed from the signing rules alone: the strings to sign and
# canonical requests are written out by hand below and hashed with Python's hashlib and hmac, never
# with the code under test. Run with python3 and paste the printed values into the test.
import hashlib, hmac, base64
AK = "AKIDEXAMPLE"; SK = "wJalrXUtnFEMI/K7MDENG+bPxRfiCYEXAMPLEKEY"
def h256(b): return hashlib.sha256(b).hexdigest()
def hm(k, m, d=hashlib.sha256): return hmac.new(k, m.encode() if isinstance(m,str) else m, d).digest()
def v4sig(sts, date, region):
    k = hm(("AWS4"+SK).encode(), date); k = hm(k, region); k = hm(k, "s3"); k = hm(k, "aws4_request")
    return hmac.new(k, sts.encode(), hashlib.sha256).hexdigest()
def v2sig(sts): return base64.b64encode(hmac.new(SK.encode(), sts.encode(), hashlib.sha1).digest()).decode()
def enc(s): return s.replace("+","%2B").replace("/","%2F").replace("=","%3D")

print("== A: V2 headerAws2")
sts = "PUT\n\ntext/plain\n\nx-amz-date:Wed, 31 Jan 2024 23:59:59 GMT\nx-amz-meta-a: spaced \n/bucket/dir/a%20b%2Bc.txt?partNumber=3&uploadId=abc%2Fdef%2Bg"
print(repr(sts)); print("AWS "+AK+":"+v2sig(sts))

print("== B: V2 signatureAws2")
sts = "GET\n\n\n\nx-amz-date:Wed, 31 Jan 2024 23:59:59 GMT\n/bucket/dir/file%201.txt?uploads"
print("AWS "+AK+":"+v2sig(sts))

print("== C: V4 signatureAws4 (S3-compatible)")
body = b"hello world"; ph = h256(body); print("payload", ph)
canon = ("PUT\n/bucket/dir/a%20b%2Bc.txt\npartNumber=2&uploadId=x%2Fy%2Bz\n"
 "content-type:application/octet-stream\nhost:127.0.0.1\nuser-agent:probe-agent\nx-amz-meta-upper:U\n"
 "x-amz-content-sha256:"+ph+"\nx-amz-date:20240131T235959Z\n\n"
 "content-type;host;user-agent;x-amz-meta-upper;x-amz-content-sha256;x-amz-date\n"+ph)
sts = "AWS4-HMAC-SHA256\n20240131T235959Z\n20240131/eu-central-1/s3/aws4_request\n"+h256(canon.encode())
print("AWS4-HMAC-SHA256 Credential="+AK+"/20240131/eu-central-1/s3/aws4_request, SignedHeaders=content-type;host;user-agent;x-amz-meta-upper;x-amz-content-sha256;x-amz-date,Signature="+v4sig(sts,"20240131","eu-central-1"))

print("== E: V4 Amazon S3 zero-byte PUT")
e = h256(b""); print(e)
canon = ("PUT\n/empty\n\ncontent-md5:1B2M2Y8AsgTpgAmY7PhCfg==\nhost:bucket.s3.amazonaws.com\nuser-agent:probe-agent\n"
 "x-amz-content-sha256:"+e+"\nx-amz-date:Wed, 31 Jan 2024 23:59:59 GMT\n\n"
 "content-md5;host;user-agent;x-amz-content-sha256;x-amz-date\n"+e)
sts = "AWS4-HMAC-SHA256\nWed, 31 Jan 2024 23:59:59 GMT\n20240131/us-east-1/s3/aws4_request\n"+h256(canon.encode())
print("AWS4-HMAC-SHA256 Credential="+AK+"/20240131/us-east-1/s3/aws4_request, SignedHeaders=content-md5;host;user-agent;x-amz-content-sha256;x-amz-date,Signature="+v4sig(sts,"20240131","us-east-1"))
print("md5 hello world", base64.b64encode(hashlib.md5(body).digest()).decode())

print("== G: V2 pre-signed URL")
sts = "GET\n\n\n1893456000\n/bucket/dir/a%20b.txt"
s = v2sig(sts); print(s, enc(s))
print("http://127.0.0.1:8080/bucket/dir/a%20b.txt?AWSAccessKeyId="+AK+"&Expires=1893456000&Signature="+enc(s))

print("== H: V4 pre-signed URL")
canon = ("GET\n/bucket/dir/a%20b.txt\nX-Amz-Algorithm=AWS4-HMAC-SHA256&X-Amz-Credential="+AK+"%2F20240131%2Fus-east-1%2Fs3%2Faws4_request"
 "&X-Amz-Date=20240131T235959Z&X-Amz-Expires=3600&X-Amz-SignedHeaders=host\nhost:127.0.0.1:8080\n\nhost\nUNSIGNED-PAYLOAD")
sts = "AWS4-HMAC-SHA256\n20240131T235959Z\n20240131/us-east-1/s3/aws4_request\n"+h256(canon.encode())
print("http://127.0.0.1:8080/bucket/dir/a%20b.txt?X-Amz-Algorithm=AWS4-HMAC-SHA256&X-Amz-Credential="+AK+"/20240131/us-east-1/s3/aws4_request&X-Amz-Date=20240131T235959Z&X-Amz-Expires=3600&X-Amz-SignedHeaders=host&X-Amz-Signature="+v4sig(sts,"20240131","us-east-1"))
