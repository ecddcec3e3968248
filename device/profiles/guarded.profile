# A card that gives little room: AES-256, every ability of the secure channel, three attempts at authentication, an
# issuer domain of another name, 16 KiB of memory, and 6700 for a length that is too short.
#
# For servers that know one name of the issuer domain, one length of keys, or never count their attempts.
[card]
channel-option=70
keys=404142434445464748494A4B4C4D4E4F505152535455565758595A5B5C5D5E5F;606162636465666768696A6B6C6D6E6F707172737475767778797A7B7C7D7E7F;808182838485868788898A8B8C8D8E8F909192939495969798999A9B9C9D9E9F
key-version=48
issuer-aid=A000000999000000
issuer-number=9999020001
authentication-attempts=3
free-memory=16384
free-volatile-memory=2048
short-length=refused
