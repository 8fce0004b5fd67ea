#!/usr/bin/python3
"""The vendor's b2sdk as a user drives it, for the interop test.
usage: b2sdk_client.py URL KEYID KEY create BUCKET        -> prints the bucket id
                                      put BUCKET NAME FILE
                                      get BUCKET NAME FILE
"""
import sys

from b2sdk.v2 import B2Api, InMemoryAccountInfo

url, key_id, key, command = sys.argv[1:5]
args = sys.argv[5:]
api = B2Api(InMemoryAccountInfo())
api.authorize_account(url, key_id, key)      # the realm may be a URL
if command == 'create':
    print(api.create_bucket(args[0], 'allPrivate').id_)
elif command == 'put':
    api.get_bucket_by_name(args[0]).upload_local_file(local_file=args[2], file_name=args[1])
elif command == 'get':
    api.get_bucket_by_name(args[0]).download_file_by_name(args[1]).save_to(args[2])
else:
    sys.exit('unknown command ' + command)
