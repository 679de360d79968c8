#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes one C header of the host's C++ headers and of what `interfaces` prints.

    host_header.py SOURCE_FOLDER PRINTED_INTERFACES > rastelklp.h

Types, constants, result codes, the platform's interfaces and the host's operations are taken from the
headers in host/, whose forms are few and regular; what is only for C++ (functions with a body, checks at
compile time) stays out.
"""
import pathlib
import re
import sys

FOLDER = pathlib.Path(sys.argv[1])

HEAD = """\
/* RastelKLP in C: the host's operations, and the interfaces as structures of function pointers.
 * Made from the C++ headers and tables; what each call does is told there.
 *
 *     IByteAOIKLP* aoi;
 *     CoCreateInstance(&CLSID_ByteAOIKLP, NULL, CLSCTX_INPROC_SERVER, &IID_IByteAOIKLP, (void**)&aoi);
 *     aoi->lpVtbl->CreateImage(aoi, 640, 480);
 */
#ifndef RASTELKLP_C_HEADER
#define RASTELKLP_C_HEADER

#include <stddef.h>
#include <stdint.h>
#include <uchar.h>

#ifdef __cplusplus
#error "For C++ there are interfaces/ and platform/platform.h."
#endif
"""


def code_of(name):
    """A header without comments, directives and what stands on continued lines of macros."""
    text = (FOLDER / name).read_text()
    text = re.sub(r"//[^\n]*", "", text)
    text = re.sub(r"^#(?:.*\\\n)*.*\n", "", text, flags=re.M)
    return re.sub(r"\n\s*\n+", "\n", text)


def in_c(text):
    """A declaration of types and parameters as C writes it."""
    text = re.sub(r"\bstd::", "", text)
    text = re.sub(r"\bREF(GUID|IID|CLSID)\b", r"const \1*", text)
    text = re.sub(r"\bconst (\w+)&", r"const \1*", text)
    text = re.sub(r"\bSTD(METHOD|API)CALLTYPE ?", "", text)
    return re.sub(r"\(\)", "(void)", re.sub(r"\s+", " ", text)).strip()


def statements(text):
    """Parts at semicolons and bodies outside braces: (head, body or None)."""
    depth, start, body = 0, 0, None
    for at, c in enumerate(text):
        if c == "{":
            if depth == 0:
                head, body = text[start:at], at + 1
            depth += 1
        elif c == "}":
            depth -= 1
            if depth == 0:
                inside = text[body:at]
                is_type = re.match(r"\s*(struct|union|enum)\b", head)
                if not is_type:
                    start = at + 1
                yield head, inside
                if is_type:
                    start = text.find(";", at) + 1
        elif c == ";" and depth == 0:
            if at >= start:
                yield text[start:at], None
                start = at + 1


def print_types(name):
    bases = {}
    for head, body in statements(code_of(name)):
        head = head.strip()
        alias = re.fullmatch(r"using (\w+) = (.*)", in_c(head))
        forward = re.fullmatch(r"struct (\w+)", head)
        typed = re.fullmatch(r"(struct|union) (\w+)(?: : (\w+))?", head)
        if body is None and alias:
            new, old = alias.groups()
            function = re.fullmatch(r"(\w+) \(\*\)(\(.*\))", old)
            if function:
                print(f"typedef {function[1]} (*{new}){function[2]};")
            elif not new.startswith("REF") and "<" not in old:
                print(f"typedef {'struct ' if old.startswith(('HINSTANCE__', 'HKEY__')) else ''}{old} {new};")
        elif body is None and forward:
            print(f"typedef struct {forward[1]} {forward[1]};")
        elif body is not None and typed and "virtual" in body:
            print_interface(typed[2], typed[3], body)
        elif body is not None and typed:
            kind, new, _ = typed.groups()
            print(f"typedef {kind} {new} {new};\n{kind} {new} {{{in_c_body(body)}}};")
        elif body is None and head.startswith("DECLARE_HOST_IID"):
            parts = re.findall(r"[\w]+", head)[1:]
            print(f"static const IID IID_{parts[0]} = "
                  f"{{{', '.join(parts[1:4])}, {{{', '.join(parts[4:])}}}}};")


def in_c_body(body):
    body = re.sub(r"\bstd::|\bSTDMETHODCALLTYPE\b", "", body)
    return re.sub(r"\balignas\b", "_Alignas", body)


SLOTS = {}


def print_interface(name, base, body):
    own = []
    for result, slot, parameters in re.findall(r"virtual ([\w*]+) (?:STDMETHODCALLTYPE )?(\w+)\(([^;]*)\) = 0;", body):
        parameters = in_c(parameters) if parameters.strip() else ""
        own.append(f"{result} (*{slot})(Self* self{', ' if parameters else ''}{parameters});")
    SLOTS[name] = SLOTS.get(base, []) + own
    print(f"#define {name.upper()}_SLOTS(Self) \\\n  " + " \\\n  ".join(SLOTS[name]))
    print(f"typedef struct {name} {name};\nstruct {name}Vtbl {{\n  {name.upper()}_SLOTS({name})\n}};")
    print(f"struct {name} {{\n  const struct {name}Vtbl* lpVtbl;\n}};")


def print_rows(name, patterns):
    for line in (FOLDER / name).read_text().splitlines():
        for pattern, form in patterns:
            if re.match(pattern, line):
                print(re.sub(pattern + r".*", form, line))


def public_headers(name, seen):
    """The header and what it includes, each behind what it needs itself."""
    if name not in seen and (FOLDER / name).exists():
        seen[name] = False
        for included in re.findall(r'^#include "(host/[^"]+\.h)"', (FOLDER / name).read_text(), re.M):
            public_headers(included, seen)
        seen[name] = seen.pop(name)  # to the end
    return seen


def print_operations():
    base = ["host/base/scalars.h", "host/base/results.h", "host/base/variant.h", "host/base/interfaces.h"]
    for header in public_headers("host/host.h", {}):
        if header not in base:
            print_types(header)
        for declaration in re.findall(r"RASTEL_HOST_API ([^;{]*?)(?: noexcept)?;", code_of(header)):
            name = re.search(r"(\w+)\(", declaration)[1]
            print(f'{in_c(declaration)} __asm__("RastelHost_{name}");')


print(HEAD)
print_types("host/base/scalars.h")
print("#define RESULT_CODE(name, bits) enum { name = (int)(bits) };")
print_rows("host/base/result_codes.inc", [(r"(RESULT_CODE\(\w+, \w+\))", r"\1")])
print("#define FAILED(result) ((HRESULT)(result) < 0)\n#define SUCCEEDED(result) ((HRESULT)(result) >= 0)")
print("#ifndef FALSE\n#define FALSE 0\n#endif\n#ifndef TRUE\n#define TRUE 1\n#endif")
print_rows("host/base/constants.inc", [
    (r"CONSTANT\((\w+), (\w+), (.*)\)$", r"#define \2 ((\1)(\3))"),
    (r"ENUMERATION\((\w+), (\w+)\)", r"typedef \2 \1;\nenum {"),
    (r"\s*ENUMERATOR\((\w+), (.*)\)$", r"  \1 = (int)(\2),"),
    (r"END_ENUMERATION", r"};")])
print_types("host/base/variant.h")
print_types("host/base/interfaces.h")
print(pathlib.Path(sys.argv[2]).read_text())
print_operations()
print("#endif")
