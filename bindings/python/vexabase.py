"""vexabase for Python: JSON, URLs, times, HTTP and PKCS#12 through the module's own tables.

    import vexabase

    with vexabase.Module("/usr/lib/vexabase") as module:
        print(module.parse_json('{"port": 8443}')["port"])

One file on ctypes alone: put it beside your program. `Module` loads the module, which loads velmora
by itself. Objects that a module hands out belong to it: the end of the `with` block releases what is
left of them. Failed calls raise `VexaError`, which carries the result code. As in the module, one
thread at a time may use an object.
"""

from __future__ import annotations

import ctypes
import datetime
import os
import pathlib
import sys
import uuid
import weakref
from typing import Any, Dict, Iterator, List, Mapping, Optional, Sequence, Tuple, Union

__all__ = ["HttpRequest", "JsonArray", "JsonObject", "Module", "Pkcs12", "Url", "VexaError"]

Text = Union[str, bytes]

_CODES = {"v": None, "?": ctypes.c_bool, "b": ctypes.c_int8, "B": ctypes.c_uint8,
          "i": ctypes.c_int32, "I": ctypes.c_uint32, "q": ctypes.c_int64, "Q": ctypes.c_uint64,
          "p": ctypes.c_void_p, "z": ctypes.c_char_p}
_RESULTS = {-0x7FFFBFFF: "not implemented", -0x7FFFBFFE: "no such interface",
            -0x7FFFBFFD: "null pointer", -0x7FFFBFFB: "failed", -0x7FF8FFFB: "access denied",
            -0x7FF8FFF2: "out of memory", -0x7FF8FFA9: "invalid argument",
            -0x5FFFFE00: "unknown list"}
_MORE_NEEDED = 1
_AT_END = 2**64 - 1
_UNIX_SECONDS, _FILE_TIME = 0x21, 0x18
_NULL, _NUMBER, _STRING, _ARRAY, _OBJECT, _BOOL = range(1, 7)

# --- Made from the headers (./dev build native renew); not edited by hand. ---
_SLOTS: Dict[str, Dict[str, Tuple[int, str]]] = {
    "CaList": {
        "GetModuleInfo": (0, "i(ppp)"),
        "CaSetExtensionA": (1, "i(ppp)"),
        "CaSetExtensionB": (2, "i(ppp)"),
        "CaSetExtensionC": (3, "i(ppp)"),
        "CaSetExtensionD": (4, "i(ppp)"),
        "CaSetExtensionPair": (5, "i(ppp)"),
        "SetKeyUsage": (6, "i(pI)"),
        "CaReserved": (7, "i(pII)"),
    },
    "CapiList": {
        "GetModuleInfo": (0, "i(ppp)"),
        "CspImport": (1, "i(pIIpp)"),
        "CspImportCACerts": (2, "i(Ip)"),
        "CspDeleteOwnCerts": (3, "i(p)"),
        "CspImportKey": (4, "i(pIpp)"),
        "DeleteCACertsByName": (5, "i(z)"),
    },
    "CertificateFunctions": {
        "GetModuleInfo": (0, "i(ppp)"),
        "IsEncryptionCertificate": (1, "i(p)"),
        "IsSignatureCertificate": (2, "i(p)"),
        "IsClientAuthCertificate": (3, "i(p)"),
        "IsCACertificate": (4, "i(p)"),
        "IsRootCACertificate": (5, "i(p)"),
        "IsSelfIssuedEndEntity": (6, "i(p)"),
        "HasExtendedKeyUsage": (7, "i(pp)"),
        "GetCertificateValueA": (8, "p(p)"),
        "GetCertificateValueB": (9, "p(p)"),
        "AppendCertificate": (10, "p(pp)"),
        "GetSecondName": (11, "v(pp)"),
        "GetFirstName": (12, "v(pp)"),
        "CertificateFromText": (13, "v(zp)"),
    },
    "ClassFactoryList": {
        "GetModuleInfo": (0, "i(ppp)"),
        "CreateInstance": (1, "i(zpp)"),
        "SetCreateHook": (2, "i(p)"),
    },
    "CoreList": {
        "GetModuleInfo": (0, "i(ppp)"),
        "reserved1": (1, "i(ppp)"),
        "reserved2": (2, "v(ppp)"),
        "reserved3": (3, "p(ppp)"),
        "TerminateBuffer": (4, "v(p)"),
        "AllocBuffer": (5, "i(Qp)"),
        "BufferFromBytes": (6, "i(pQp)"),
        "BufferFromRange": (7, "i(ppp)"),
        "CreateScrambler": (8, "i(Ip)"),
        "CreateScramblerEx": (9, "i(IIIp)"),
        "EncodeBase64": (10, "i(pp)"),
        "DecodeBase64": (11, "i(pp)"),
        "GetCipherBlockSize": (12, "i(Ip)"),
        "GetCipherKeyBits": (13, "i(Ip)"),
        "reserved14": (14, "i(IB)"),
        "CreatePkcs12": (15, "i(ppppp)"),
        "OpenPkcs12": (16, "i(pppp)"),
    },
    "AscList": {
        "GetModuleInfo": (0, "i(ppp)"),
        "GetContext": (1, "p()"),
        "GetPse": (2, "p()"),
        "PseReserved10": (3, "i(ppp)"),
        "PseReserved12": (4, "i(ppp)"),
    },
    "HashTableList": {
        "GetModuleInfo": (0, "i(ppp)"),
        "CreateHashTable": (1, "i(pIQ)"),
        "CreateHashTableEx": (2, "i(pQQQ)"),
    },
    "JsonApiList": {
        "GetModuleInfo": (0, "i(ppp)"),
        "CreateObject": (1, "i(p)"),
        "Parse": (2, "i(pp)"),
    },
    "NetworkList": {
        "GetModuleInfo": (0, "i(ppp)"),
        "ConvertCookiePath": (1, "i(zp)"),
        "GetIEUserSettingProxy": (2, "i(pp)"),
        "IsLocalHost": (3, "i(z)"),
        "MatchesBypassList": (4, "i(zp)"),
    },
    "TimeList": {
        "GetModuleInfo": (0, "i(ppp)"),
        "GetCurrentFileTime": (1, "Q()"),
        "ConvertTime": (2, "Q(QII)"),
        "ConvertLibraryTime": (3, "Q(pI)"),
    },
    "RootList": {
        "ReleaseRoot": (0, "v(p)"),
        "GetInterface": (2, "i(zzp)"),
        "ReleaseInterface": (3, "v(p)"),
        "Allocate": (6, "p(Q)"),
        "Reallocate": (8, "p(pQ)"),
        "Free": (9, "v(p)"),
    },
    "CommonTypes": {
        "TextDuplicate": (8, "p(z)"),
        "TextRelease": (9, "v(p)"),
        "BufferRelease": (10, "v(p)"),
        "BufferCompare": (11, "i(pp)"),
        "BufferFromHex": (12, "i(zp)"),
        "StringCopy": (13, "i(pp)"),
        "NameCompare": (14, "i(pp)"),
        "CertificateDecode": (15, "i(pp)"),
        "CertificateCompare": (16, "i(pp)"),
        "CertificateListRelease": (17, "v(p)"),
        "ObjectIdFromText": (18, "i(zp)"),
        "ObjectIdCompare": (19, "i(pp)"),
        "KeyCompare": (20, "i(pp)"),
        "AlgorithmIdCopy": (21, "i(pp)"),
        "PublicKeyCopy": (22, "i(pp)"),
        "KeyCreate": (23, "i(p)"),
        "KeyRelease": (24, "v(p)"),
        "RsaPrivateKeyDecode": (25, "i(pQp)"),
        "RsaPrivateKeyRelease": (26, "v(p)"),
    },
    "StringTable": {
        "TextRelease": (2, "v(p)"),
        "TextDuplicate": (3, "p(z)"),
        "TextCompare": (5, "i(zz)"),
        "Create": (8, "i(p)"),
        "Destroy": (9, "v(p)"),
        "Clear": (10, "v(p)"),
        "AssignBytes": (11, "i(ppQ)"),
        "AssignText": (12, "i(pz)"),
        "AppendText": (13, "i(pz)"),
        "GetText": (14, "z(p)"),
        "GetLength": (15, "Q(p)"),
        "Compare": (16, "i(pp)"),
        "CompareWithText": (17, "i(pz)"),
        "Normalise": (18, "i(p)"),
        "Decode": (19, "i(pp)"),
        "Trim": (20, "i(p)"),
        "SplitFirst": (21, "i(pzpp)"),
    },
    "CertificateTable": {
        "slot7": (7, "i(pppp)"),
        "GetIssuer": (8, "p(p)"),
        "GetSubject": (9, "p(p)"),
        "slot10": (10, "i(pppp)"),
        "GetEncoding": (11, "p(p)"),
        "slot12": (12, "i(pppp)"),
        "GetValueA": (13, "p(p)"),
        "GetValueB": (14, "p(p)"),
        "GetKeyUsage": (15, "p(p)"),
        "GetExtendedKeyUsage": (16, "p(p)"),
        "GetBasicConstraints": (17, "p(p)"),
        "GetPublicKey": (18, "p(p)"),
        "IsSelfSigned": (19, "B(p)"),
        "SetKeyUsage": (41, "i(ppI)"),
        "SetExtensionB": (56, "i(ppp)"),
        "SetExtensionC": (57, "i(ppp)"),
        "SetPairFirst": (60, "i(ppp)"),
        "SetPairSecond": (61, "i(pp)"),
        "SetExtensionA": (62, "i(ppp)"),
        "SetExtensionD": (63, "i(ppp)"),
    },
    "ObjectHeader": {
        "reserved0": (0, "i(pppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "GetTypeName": (3, "z(p)"),
        "Duplicate": (4, "i(pp)"),
        "reserved5": (5, "i(pp)"),
        "reserved6": (6, "i(pppp)"),
    },
    "IComponent": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
    },
    "IContainerRO": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "GetCount": (3, "i(pp)"),
        "QueryItem": (4, "i(pIpp)"),
        "GetItem": (5, "i(pIp)"),
    },
    "IAttributes": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "SetAttributes": (3, "i(pp)"),
        "GetAttributes": (4, "i(pp)"),
    },
    "ICertificate": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "SetAttributes": (3, "i(pp)"),
        "GetAttributes": (4, "i(pp)"),
        "IsEqual": (5, "i(pp)"),
        "DeletingDestructor": (6, "p(pI)"),
    },
    "ICertificates": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "GetCount": (3, "i(pp)"),
        "QueryItem": (4, "i(pIpp)"),
        "GetItem": (5, "i(pIp)"),
        "FindOrAdd": (6, "i(ppp)"),
        "DeletingDestructor": (7, "p(pI)"),
    },
    "IClientMonitor": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "CheckNetwork": (3, "i(p)"),
        "Reset": (4, "i(p)"),
        "GetStatus": (5, "I(p)"),
        "OnPowerEvent": (6, "i(pI)"),
        "SetChangeEvent": (7, "i(pp)"),
        "StartChangeThread": (8, "i(pI)"),
        "StopChangeThread": (9, "i(p)"),
        "DeletingDestructor": (10, "p(pI)"),
        "CompareNetwork": (11, "i(pp)"),
        "FreeSnapshot": (12, "i(p)"),
        "TakeSnapshot": (13, "i(pp)"),
        "SetStatus": (14, "i(pI)"),
        "ChangeThreadMain": (15, "i(p)"),
    },
    "IHashTableHelper": {
        "CopyItem": (0, "i(ppp)"),
        "FreeItem": (1, "i(pp)"),
        "CompareItems": (2, "i(ppp)"),
    },
    "IHashTableHelperKey": {
        "CopyItem": (0, "i(ppp)"),
        "FreeItem": (1, "i(pp)"),
        "CompareItems": (2, "i(ppp)"),
        "MakeKeyRecord": (3, "i(ppp)"),
    },
    "HashTable_void": {
        "Header0": (0, "i(pppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "GetTypeName": (3, "z(p)"),
        "Duplicate": (4, "i(pp)"),
        "Header5": (5, "i(pp)"),
        "Header6": (6, "i(pppp)"),
        "Put": (7, "i(ppp)"),
        "Remove": (8, "i(pp)"),
        "Contains": (9, "i(pp)"),
        "Get": (10, "i(ppp)"),
        "GetKeyAt": (11, "i(pQp)"),
        "RemoveAll": (12, "i(p)"),
    },
    "IHTTPRequest": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "parse": (3, "i(ppQ)"),
        "getMethod": (4, "z(p)"),
        "getURI": (5, "z(p)"),
        "getPath": (6, "z(p)"),
        "getProtocolVersion": (7, "z(p)"),
        "getBody": (8, "p(p)"),
        "getBodyData": (9, "i(pp)"),
        "hasBody": (10, "?(p)"),
        "getHeader": (11, "i(pzp)"),
        "getQueryParameter": (12, "i(pzp)"),
        "DeletingDestructor": (13, "p(pI)"),
        "readToken": (14, "i(pzp)"),
        "isMethodAllowed": (15, "?(p)"),
        "appendUnfinished": (16, "i(ppQ)"),
        "setUnfinished": (17, "i(ppQ)"),
    },
    "IHTTPResponse": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "serialize": (3, "i(ppp)"),
        "setStatus": (4, "i(pIz)"),
        "getStatusCode": (5, "I(p)"),
        "setProtocol": (6, "i(pz)"),
        "setBody": (7, "i(pz)"),
        "addHeader": (8, "i(pzz)"),
        "DeletingDestructor": (9, "p(pI)"),
    },
    "IJsonObject": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "GetType": (3, "I(p)"),
        "ToText": (4, "i(pp)"),
        "GetCount": (5, "Q(p)"),
        "GetKeyAt": (6, "i(pQp)"),
        "GetKeyPtrAt": (7, "z(pQ)"),
        "GetTypeOf": (8, "I(pz)"),
        "GetString": (9, "i(pzp)"),
        "GetStringPtr": (10, "z(pz)"),
        "GetInteger": (11, "i(pzp)"),
        "GetObject": (12, "i(pzp)"),
        "GetArray": (13, "i(pzp)"),
        "GetBool": (14, "i(pzp)"),
        "SetString": (15, "i(pzz)"),
        "SetInteger": (16, "i(pzi)"),
        "AddObject": (17, "i(pzp)"),
        "AddArray": (18, "i(pzp)"),
        "SetBool": (19, "i(pzB)"),
        "SetNull": (20, "i(pz)"),
    },
    "IJsonArray": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "GetType": (3, "I(p)"),
        "GetCount": (4, "Q(p)"),
        "GetTypeAt": (5, "I(pQ)"),
        "GetStringAt": (6, "i(pQp)"),
        "GetStringPtrAt": (7, "z(pQ)"),
        "GetIntegerAt": (8, "i(pQp)"),
        "GetObjectAt": (9, "i(pQp)"),
        "GetArrayAt": (10, "i(pQp)"),
        "GetBoolAt": (11, "i(pQp)"),
        "SetStringAt": (12, "i(pQz)"),
        "SetIntegerAt": (13, "i(pQi)"),
        "AddObjectAt": (14, "i(pQp)"),
        "AddArrayAt": (15, "i(pQp)"),
        "SetBoolAt": (16, "i(pQB)"),
        "SetNullAt": (17, "i(pQ)"),
    },
    "IOwnCertificate": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "SetAttributes": (3, "i(pp)"),
        "GetAttributes": (4, "i(pp)"),
        "SetRecord": (5, "i(pp)"),
        "IsSame": (6, "i(pp)"),
        "DeletingDestructor": (7, "p(pI)"),
    },
    "IOwnCertificates": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "GetCount": (3, "i(pp)"),
        "QueryItem": (4, "i(pIpp)"),
        "GetItem": (5, "i(pIp)"),
        "Refresh": (6, "i(p)"),
        "DeletingDestructor": (7, "p(pI)"),
    },
    "IPse": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "DeletingDestructor": (3, "p(pI)"),
        "GetContext": (4, "p(p)"),
        "GetPSE": (5, "p(p)"),
        "Reserved6": (6, "i(pppp)"),
        "Reserved7": (7, "i(pppp)"),
        "Reserved8": (8, "i(pppp)"),
        "Reserved9": (9, "i(pppp)"),
        "Reserved10": (10, "i(pppp)"),
        "Reserved11": (11, "i(pppp)"),
        "Reserved12": (12, "i(pppp)"),
    },
    "IScrambler": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "Initialize": (3, "i(pI)"),
        "ScrambleString": (4, "i(ppp)"),
        "UnscrambleString": (5, "i(ppp)"),
        "Scramble": (6, "i(ppp)"),
        "Unscramble": (7, "i(ppp)"),
        "CopyKeyTo": (8, "i(pp)"),
        "DeletingDestructor": (9, "p(pI)"),
    },
    "IURLParser": {
        "QueryInterface": (0, "i(ppp)"),
        "AddRef": (1, "I(p)"),
        "Release": (2, "I(p)"),
        "parse": (3, "i(pz)"),
        "getPort": (4, "i(p)"),
        "isHTTPS": (5, "?(p)"),
        "isValid": (6, "?(p)"),
        "getLength": (7, "q(p)"),
        "cmp": (8, "?(pp)"),
        "cmpText": (9, "?(pz)"),
        "pattern_match": (10, "?(pz)"),
        "DeletingDestructor": (11, "p(pI)"),
    },
}
_LIST_NAMES: Dict[str, str] = {
    "CaList": "vexa.misc.base.ca.1",
    "CapiList": "capi_api",
    "CertificateFunctions": "vexa.misc.base.certificate.1",
    "ClassFactoryList": "ClassFactory.1",
    "CoreList": "vexa.misc.base.core.1",
    "AscList": "vexa.misc.base.asc.1",
    "HashTableList": "vexa.misc.base.hashtable.1",
    "JsonApiList": "jsonapi",
    "NetworkList": "vexa.misc.base.network.1",
    "TimeList": "timeapi",
}
_CLASSES: Dict[str, Tuple[str, str]] = {
    "ICertificates": ("Certificates", "b1c40f7a-8e62-4d35-a9f3-2d7710ce5984"),
    "IClientMonitor": ("vexa.clientmonitor", "6f0d5c52-3b8e-4e57-a1c9-8d2f4b7e9013"),
    "IHTTPRequest": ("vexa.webclient.http.request", "5a1e7c34-0f8b-4d26-9c71-b3e2486d0fa7"),
    "IHTTPResponse": ("vexa.webclient.http.response", "e83d2b61-7a45-4c9f-8b10-52f6c7d9a034"),
    "IOwnCertificates": ("OwnCertificates", "7d52e8c1-06b9-4f7e-8a34-c91f3b6d2e05"),
    "IPse": ("PSE", "8d2f9f87-c79d-4569-b8ff-835e3c6058bb"),
    "IURLParser": ("vexa.webclient.url.parser", "9d4c1a6e-52f7-4b38-8e0d-73a1c6b95f24"),
}
# --- End of what is made from the headers. ---


class VexaError(Exception):
    """A call of the module failed; `code` is its result."""

    def __init__(self, what: str, code: int) -> None:
        reason = _RESULTS.get(code, "failed")
        super().__init__(f"{what}: {reason} (0x{code & 0xFFFFFFFF:08x})")
        self.code = code


def _check(result: int, what: str) -> int:
    if result < 0:
        raise VexaError(what, result)
    return result


def _bytes(text: Text) -> bytes:
    return text.encode("utf-8") if isinstance(text, str) else bytes(text)


class _Buffer(ctypes.Structure):
    _fields_ = [("length", ctypes.c_uint64), ("data", ctypes.c_void_p)]

    @classmethod
    def over(cls, data: bytes) -> "_Buffer":
        """A record over bytes of ours, which it keeps alive."""
        keep = ctypes.create_string_buffer(data, len(data))
        buffer = cls(len(data), ctypes.addressof(keep))
        buffer.keep = keep
        return buffer

    def content(self) -> bytes:
        return ctypes.string_at(self.data, self.length) if self.data else b""


class _String(ctypes.Structure):
    _fields_ = [("text", ctypes.c_void_p), ("length", ctypes.c_uint64)]


class _CertificateList(ctypes.Structure):
    _fields_ = [("certificate", ctypes.c_void_p), ("next", ctypes.c_void_p),
                ("count", ctypes.c_uint64)]


class _Table:
    """An array of function pointers, called by the names of its slots."""

    def __init__(self, kind: str, address: int) -> None:
        self._kind, self._address = kind, address

    def __getattr__(self, name: str) -> Any:
        try:
            number, types = _SLOTS[self._kind][name]
        except KeyError:
            raise AttributeError(f"{self._kind} has no {name}") from None
        kinds = [_CODES[code] for code in types if code not in "()"]
        function = ctypes.c_void_p.from_address(self._address + 8 * number).value
        call = ctypes.CFUNCTYPE(kinds[0], *kinds[1:])(function)
        setattr(self, name, call)
        return call


class _Object:
    """One reference to an object of the module."""

    _kind = ""

    def __init__(self, module: "Module", address: int) -> None:
        self._module, self._address = module, address
        self._table = _Table(self._kind, ctypes.c_void_p.from_address(address).value or 0)
        module._objects.add(self)

    def _call(self, name: str, *arguments: Any) -> Any:
        if not self._address:
            raise ValueError("the object is closed")
        return getattr(self._table, name)(self._address, *arguments)

    def close(self) -> None:
        """Gives the reference back; the object is not to be used any more."""
        if self._address:
            self._call("Release")
            self._address = 0

    def __del__(self) -> None:
        self.close()


class _JsonValue(_Object):
    def _out(self, name: str, kind: Any, *arguments: Any) -> Any:
        value = kind()
        _check(self._call(name, *arguments, ctypes.byref(value)), name)
        return value.value

    def _text(self, name: str, key: Any) -> str:
        string = self._module._string()
        try:
            _check(self._call(name, key, ctypes.byref(string)), name)
            return self._module._take(string).decode("utf-8", "replace")
        finally:
            self._module._strings.Clear(ctypes.byref(string))

    def _get(self, kind: int, suffix: str, key: Any) -> Any:
        if kind == _STRING:
            return self._text("GetString" + suffix, key)
        if kind == _NUMBER:
            return self._out("GetInteger" + suffix, ctypes.c_int32, key)
        if kind == _BOOL:
            return bool(self._out("GetBool" + suffix, ctypes.c_uint32, key))
        if kind == _OBJECT:
            address = self._out("GetObject" + suffix, ctypes.c_void_p, key)
            return JsonObject(self._module, address)
        if kind == _ARRAY:
            return JsonArray(self._module, self._out("GetArray" + suffix, ctypes.c_void_p, key))
        return None

    def _set(self, suffix: str, key: Any, value: Any) -> None:
        if value is None:
            _check(self._call("SetNull" + suffix, key), "SetNull")
        elif isinstance(value, bool):
            _check(self._call("SetBool" + suffix, key, value), "SetBool")
        elif isinstance(value, int):
            if not -2**31 <= value < 2**31:
                raise OverflowError("numbers have 32 bits")
            _check(self._call("SetInteger" + suffix, key, value), "SetInteger")
        elif isinstance(value, (str, bytes)):
            _check(self._call("SetString" + suffix, key, _bytes(value)), "SetString")
        elif isinstance(value, Mapping):
            address = self._out("AddObject" + suffix, ctypes.c_void_p, key)
            JsonObject(self._module, address).update(value)
        elif isinstance(value, Sequence):
            address = self._out("AddArray" + suffix, ctypes.c_void_p, key)
            JsonArray(self._module, address).extend(value)
        else:
            raise TypeError(f"JSON has no {type(value).__name__}")


class JsonObject(_JsonValue):
    """A JSON object, used like a dict. Numbers are 32-bit integers."""

    _kind = "IJsonObject"

    def __len__(self) -> int:
        return int(self._call("GetCount"))

    def __iter__(self) -> Iterator[str]:
        for index in range(len(self)):
            yield self._text("GetKeyAt", index)

    def __contains__(self, key: str) -> bool:
        return self._call("GetTypeOf", _bytes(key)) != 0

    def __getitem__(self, key: str) -> Any:
        kind = self._call("GetTypeOf", _bytes(key))
        if kind == 0:
            raise KeyError(key)
        return self._get(kind, "", _bytes(key))

    def __setitem__(self, key: str, value: Any) -> None:
        self._set("", _bytes(key), value)

    def get(self, key: str, default: Any = None) -> Any:
        """The value under the key, or the default."""
        return self[key] if key in self else default

    def update(self, values: Mapping[str, Any]) -> None:
        """Sets every member of a mapping."""
        for key, value in values.items():
            self[key] = value

    def to_python(self) -> Dict[str, Any]:
        """A dict of its own with everything below copied."""
        return {key: _plain(self[key]) for key in self}

    def to_text(self) -> str:
        """The object as text, as the module writes it."""
        buffer = ctypes.c_void_p()
        _check(self._call("ToText", ctypes.byref(buffer)), "ToText")
        return self._module._take_buffer(buffer).decode("utf-8", "replace")


class JsonArray(_JsonValue):
    """A JSON array, used like a list that grows at its end."""

    _kind = "IJsonArray"

    def __len__(self) -> int:
        return int(self._call("GetCount"))

    def __getitem__(self, index: int) -> Any:
        at = index + len(self) if index < 0 else index
        if not 0 <= at < len(self):
            raise IndexError(index)
        return self._get(self._call("GetTypeAt", at), "At", at)

    def append(self, value: Any) -> None:
        """Adds a value at the end."""
        self._set("At", _AT_END, value)

    def extend(self, values: Sequence[Any]) -> None:
        """Adds values at the end."""
        for value in values:
            self.append(value)

    def to_python(self) -> List[Any]:
        """A list of its own with everything below copied."""
        return [_plain(self[index]) for index in range(len(self))]


def _plain(value: Any) -> Any:
    return value.to_python() if isinstance(value, (JsonObject, JsonArray)) else value


class Url(_Object):
    """An absolute http or https URL, split. `parse` keeps a copy of its text."""

    _kind = "IURLParser"

    def parse(self, text: Text) -> bool:
        """Replaces the URL. True: it is valid."""
        self._text = ctypes.create_string_buffer(_bytes(text))
        return int(self._call("parse", ctypes.cast(self._text, ctypes.c_char_p))) >= 0

    @property
    def port(self) -> int:
        """The explicit port, else 80 or 443; 0 when there is none."""
        return int(self._call("getPort"))

    @property
    def is_https(self) -> bool:
        """True for https."""
        return bool(self._call("isHTTPS"))

    @property
    def is_valid(self) -> bool:
        """True when scheme, host and port were found."""
        return bool(self._call("isValid"))

    @property
    def origin(self) -> str:
        """Scheme, host and port as they are written; empty when not valid."""
        length = int(self._call("getLength"))
        return self._text.value[:length].decode("utf-8", "replace") if length > 0 else ""

    def same_origin(self, other: Union["Url", Text]) -> bool:
        """True when scheme, port and host are the same; letter case counts."""
        if isinstance(other, Url):
            return bool(self._call("cmp", other._address))
        return bool(self._call("cmpText", _bytes(other)))

    def matches(self, pattern: Text) -> bool:
        """True when a pattern such as "https://*.example.com" covers this URL."""
        return bool(self._call("pattern_match", _bytes(pattern)))


class HttpRequest(_Object):
    """An HTTP/1.x request that is read in pieces."""

    _kind = "IHTTPRequest"

    def feed(self, data: bytes) -> bool:
        """Takes more bytes. True: the request is complete. After a VexaError drop the connection."""
        return _check(self._call("parse", data, len(data)), "parse") != _MORE_NEEDED

    def _string_of(self, name: str) -> str:
        return bytes(self._call(name)).decode("utf-8", "replace")

    @property
    def method(self) -> str:
        """In upper case."""
        return self._string_of("getMethod")

    @property
    def uri(self) -> str:
        """Decoded, with its query."""
        return self._string_of("getURI")

    @property
    def path(self) -> str:
        """The URI before the first "?"."""
        return self._string_of("getPath")

    @property
    def version(self) -> str:
        """Such as "HTTP/1.1"."""
        return self._string_of("getProtocolVersion")

    @property
    def body(self) -> Optional[bytes]:
        """None without a body."""
        buffer = _Buffer()
        if self._call("getBodyData", ctypes.byref(buffer)) < 0:
            return None
        return buffer.content()

    def header(self, name: str) -> Optional[str]:
        """Origin, Referer or Content-Length; the others are not kept."""
        return self._found("getHeader", name)

    def parameter(self, name: str) -> Optional[str]:
        """A parameter of the query."""
        return self._found("getQueryParameter", name)

    def _found(self, slot: str, name: str) -> Optional[str]:
        text = ctypes.c_void_p()
        if self._call(slot, _bytes(name), ctypes.byref(text)) < 0:
            return None
        try:
            return ctypes.string_at(text.value or 0).decode("utf-8", "replace")
        finally:
            self._module._root.Free(text)


class _HttpResponse(_Object):
    _kind = "IHTTPResponse"


class Pkcs12:
    """A private key with its certificates, as a PKCS#12 file holds them; the first certificate is
    the key's own."""

    def __init__(self, module: "Module", key: int, certificates: int) -> None:
        self._module, self._key, self._certificates = module, key, certificates
        module._objects.add(self)

    @property
    def certificates(self) -> List[bytes]:
        """The certificates in DER."""
        found = []
        node = self._certificates
        while node:
            entry = _CertificateList.from_address(node)
            found.append(self._encoding(entry.certificate))
            node = entry.next
        return found

    def _encoding(self, certificate: int) -> bytes:
        table = _Table("CertificateTable", ctypes.c_void_p.from_address(certificate).value or 0)
        return _Buffer.from_address(table.GetEncoding(certificate)).content()

    def save(self, name: Text, password: Text) -> bytes:
        """A new file with the same content under a friendly name."""
        module = self._module
        texts = [module._string(name), module._string(password)]
        out = ctypes.c_void_p()
        try:
            _check(module.list("CoreList").CreatePkcs12(
                ctypes.byref(texts[0]), self._key, self._certificates, ctypes.byref(texts[1]),
                ctypes.byref(out)), "CreatePkcs12")
            return module._take_buffer(out)
        finally:
            for text in texts:
                module._strings.Clear(ctypes.byref(text))

    def close(self) -> None:
        """Wipes the key and gives everything back."""
        if self._key:
            self._module._types.KeyRelease(self._key)
            self._module._types.CertificateListRelease(self._certificates)
            self._key = self._certificates = 0

    def __del__(self) -> None:
        self.close()


class Module:
    """The loaded and started module. Use it in a `with` statement, or call `close` at the end."""

    def __init__(self, path: Union[str, "os.PathLike[str]"], root: Optional[int] = None) -> None:
        """`path`: the folder of the module, or its file. `root`: the address of a root list of the
        host's own; without it the module loads velmora from its folder."""
        self._objects: "weakref.WeakSet[Any]" = weakref.WeakSet()
        windows = sys.platform == "win32"
        place = pathlib.Path(path)
        file = place / ("vexabase.dll" if windows else "libvexabase.so") if place.is_dir() else place
        self._library = ctypes.CDLL(str(file))
        self._final: Any = self._library.module_final
        self._final.restype = ctypes.c_int32
        lookup = ctypes.c_void_p()
        init = self._library.module_init
        init.restype, init.argtypes = ctypes.c_int32, [ctypes.c_void_p, ctypes.c_void_p]
        try:
            _check(init(root, ctypes.byref(lookup)), "module_init")
            self._lookup = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_char_p, ctypes.c_char_p,
                                            ctypes.c_void_p)(lookup.value or 0)
            self._bind(file.parent, root, "velmora.dll" if windows else "velmora.so")
        except BaseException:
            self._end()
            raise

    def _bind(self, folder: pathlib.Path, root: Optional[int], name: str) -> None:
        """The heap and the strings that are shared with the module."""
        self._own_root = root is None
        if root is None:
            beside = folder / name
            place = beside if beside.exists() else folder.parent / "lib" / name
            self._velmora = ctypes.CDLL(str(place))
            out = ctypes.c_void_p()
            get = self._velmora.quorix_get_f_list
            get.argtypes = [ctypes.c_uint64, ctypes.c_uint64, ctypes.c_void_p, ctypes.c_uint64,
                            ctypes.c_char_p, ctypes.c_uint64]
            get(0, 0, ctypes.byref(out), 0, b"", 0)
            root = out.value
        if not root:
            raise VexaError("the runtime's root list", -0x7FFFBFFB)
        self._root_address = root
        self._root = _Table("RootList", root)
        self._bound: List[ctypes.c_void_p] = []
        self._types = self._runtime_table("CommonTypes", None, b"SEC_COMMONTYPES_1")
        self._strings = self._runtime_table("StringTable", b"vexastring", b"String.1")

    def _runtime_table(self, kind: str, component: Optional[bytes], name: bytes) -> _Table:
        table = ctypes.c_void_p()
        if self._root.GetInterface(component, name, ctypes.byref(table)) != 0:
            raise VexaError(name.decode(), -0x7FFFBFFB)
        self._bound.append(table)
        return _Table(kind, table.value or 0)

    def close(self) -> None:
        """Releases what is left of its objects and ends the module. A second call does nothing."""
        if self._final is None:
            return
        for one in list(self._objects):
            one.close()
        self._end()

    def _end(self) -> None:
        final, self._final = self._final, None
        for table in getattr(self, "_bound", []):
            self._root.ReleaseInterface(ctypes.byref(table))
        if getattr(self, "_own_root", False) and hasattr(self, "_root"):
            self._root.ReleaseRoot(self._root_address)
        final()

    def __enter__(self) -> "Module":
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()

    def live_blocks(self) -> Optional[int]:
        """Blocks of the runtime's heap that are alive, also after the end; None when the runtime
        does not tell."""
        try:
            count = self._velmora.velmora_live_blocks
        except AttributeError:
            return None
        count.restype = ctypes.c_uint64
        return int(count())

    # --- What everything else stands on ---

    def list(self, kind: str) -> _Table:
        """A function list by the name of its C record, such as "TimeList"."""
        out = ctypes.c_void_p()
        name = _LIST_NAMES[kind]
        _check(self._lookup(None, name.encode(), ctypes.byref(out)), name)
        return _Table(kind, out.value or 0)

    def _make(self, kind: str) -> int:
        name, identifier = _CLASSES[kind]
        guid = ctypes.create_string_buffer(uuid.UUID(identifier).bytes_le, 16)
        out = ctypes.c_void_p()
        _check(self.list("ClassFactoryList").CreateInstance(
            name.encode(), ctypes.byref(guid), ctypes.byref(out)), name)
        return out.value or 0

    def _string(self, text: Text = b"") -> _String:
        string, data = _String(), _bytes(text)
        _check(self._strings.AssignBytes(ctypes.byref(string), data, len(data)), "AssignBytes")
        return string

    def _take(self, string: _String) -> bytes:
        return ctypes.string_at(string.text, string.length) if string.text else b""

    def _take_buffer(self, buffer: ctypes.c_void_p) -> bytes:
        """The content of a buffer that the module handed out, which is released."""
        try:
            return _Buffer.from_address(buffer.value).content() if buffer.value else b""
        finally:
            self._types.BufferRelease(buffer)

    # --- JSON ---

    def new_json(self, values: Optional[Mapping[str, Any]] = None) -> JsonObject:
        """A new JSON object with these members."""
        out = ctypes.c_void_p()
        _check(self.list("JsonApiList").CreateObject(ctypes.byref(out)), "CreateObject")
        made = JsonObject(self, out.value or 0)
        made.update(values or {})
        return made

    def parse_json(self, text: Text) -> JsonObject:
        """The JSON object that a text holds."""
        buffer, out = _Buffer.over(_bytes(text)), ctypes.c_void_p()
        _check(self.list("JsonApiList").Parse(ctypes.byref(buffer), ctypes.byref(out)), "Parse")
        return JsonObject(self, out.value or 0)

    # --- URLs and HTTP ---

    def parse_url(self, text: Text) -> Url:
        """A URL, split; look at `is_valid`."""
        url = Url(self, self._make("IURLParser"))
        url.parse(text)
        return url

    def http_request(self) -> HttpRequest:
        """A new request that waits for its bytes."""
        return HttpRequest(self, self._make("IHTTPRequest"))

    def http_response(self, status: int = 200, body: Optional[Text] = None,
                      headers: Sequence[Tuple[str, str]] = (),
                      reason: Optional[str] = None) -> bytes:
        """The bytes of a response. The body is a text without zero bytes."""
        response = _HttpResponse(self, self._make("IHTTPResponse"))
        # kNotImplemented is its way of saying that the status was set.
        result = response._call("setStatus", status, None if reason is None else _bytes(reason))
        if result < 0 and result != -0x7FFFBFFF:
            raise VexaError("setStatus", result)
        for name, value in headers:
            _check(response._call("addHeader", _bytes(name), _bytes(value)), "addHeader")
        if body is not None:
            _check(response._call("setBody", _bytes(body)), "setBody")
        block, size = ctypes.c_void_p(), ctypes.c_uint64()
        try:
            _check(response._call("serialize", ctypes.byref(block), ctypes.byref(size)),
                   "serialize")
            return ctypes.string_at(block.value or 0, size.value)
        finally:
            self._root.Free(block)
            response.close()

    # --- Times ---

    def now(self) -> datetime.datetime:
        """The module's clock, in UTC."""
        moment = self.convert_time(self.list("TimeList").GetCurrentFileTime(), _FILE_TIME, 0x24)
        epoch = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)
        return epoch + datetime.timedelta(microseconds=moment)

    def convert_time(self, value: int, source: int, target: int) -> int:
        """A value from one time format to another; see vexa/time.h for the formats."""
        return int(self.list("TimeList").ConvertTime(value, source, target))

    def file_time(self, moment: datetime.datetime) -> int:
        """A moment with a time zone as a Windows file time, whole seconds."""
        return self.convert_time(int(moment.timestamp()), _UNIX_SECONDS, _FILE_TIME)

    # --- PKCS#12 ---

    def open_pkcs12(self, data: bytes, password: Optional[Text]) -> Pkcs12:
        """Key and certificates of a PKCS#12 file. VexaError: wrong password, or no such file."""
        buffer = _Buffer.over(data)
        text = None if password is None else self._string(password)
        key, certificates = ctypes.c_void_p(), ctypes.c_void_p()
        try:
            _check(self.list("CoreList").OpenPkcs12(
                ctypes.byref(buffer), None if text is None else ctypes.byref(text),
                ctypes.byref(key), ctypes.byref(certificates)), "OpenPkcs12")
        finally:
            if text is not None:
                self._strings.Clear(ctypes.byref(text))
        return Pkcs12(self, key.value or 0, certificates.value or 0)
