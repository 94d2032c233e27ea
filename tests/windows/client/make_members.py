#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""What the tests of the Windows component take from its tables of members.

make_members.py plain FILE           rows of client/Face.h over the plain classes, C++
make_members.py plain-creators FILE  how these are made
make_members.py headers FILE         their headers
make_members.py com FILE             the same rows over the interfaces of the type libraries, C++
make_members.py com-creators FILE    names and interfaces of the classes
make_members.py script FILE          subroutines that read every single value of a class, VBScript
make_members.py list FILE            "Class.Member", a Let as "Class.Member(let)"
"""

import contextlib
import functools
import pathlib
import sys

sys.path.append(str(pathlib.Path(__file__).resolve().parents[3] / "tools"))
import windows_face

# Members whose rows are written by hand in both faces: what they take has no type of its own here.
BY_HAND = {("DataSelect", "API_GetData"), ("DataSelect", "API_SetData"),
           ("DataSelectDescriptors", "NewEnum"), ("CCResults", "SetXMLNode")}
# What copies an object or moves its cursor is no reading of it, nor is the text, which takes the
# arrays out of some results.
NOT_READ = ("Clone", "GetXML", "Move")


class Member:
    def __init__(self, row):
        self.type, self.kind, self.name = row["class"], row["kind"], row["name"]
        self.plain = windows_face.plain_name(row)
        self.arguments = [(name, kind) for name, kind, _ in windows_face.arguments_of(row)]
        self.result = "" if row["result"] == "-" else row["result"]
        self.let = self.kind in ("let", "set")

    @property
    def key(self):
        return f"{self.type}.{self.name}" + ("(let)" if self.let else "")

    # A host reads it without arguments and without changing anything.
    @property
    def read(self):
        if self.arguments or self.let or self.result in ("", "enumerator"):
            return False
        return self.kind == "get" or not self.name.startswith(NOT_READ)


@functools.cache
def classes():
    """By the name of a class: the plain class, its header, how a plain one is made, what it is called
    for CreateObject; in the order of the table."""
    found = {}
    for row in windows_face.read_table("classes.tsv"):
        name, plain = row["class"], row["plain"]
        made = f"std::make_shared<{plain}>()" if row["made by"] == "-" else row["made by"]
        prog_id = f"{row['library']}.{name}" if row["prog id"] == "-" else row["prog id"]
        found[name] = (plain, row["header"], made if row["created"] == "yes" else "", prog_id)
    return found


def members():
    return [Member(row) for row in windows_face.read_table("members.tsv")]


def is_class(kind):
    return kind in classes()


def held(kind):
    """The class of an object that a member gives, "" for other results."""
    name = kind.removeprefix("object:")
    return name if is_class(name) else ""


def row(member, lambda_text):
    kind = {"get": "kGet", "let": "kLet", "set": "kSet", "method": "kMethod"}[member.kind]
    count = len(member.arguments) - (1 if member.let else 0)
    read = "true" if member.read else "false"
    print(f'{{"{member.type}", "{member.name}", Kind::{kind}, {count}, {read}, '
          f'"{member.result}", {lambda_text}}},')


def lambda_of(member, body):
    name = "arguments" if "arguments[" in body else ""
    holder = "object" if "object)" in body else ""
    return (f"[](const Object& {holder}, std::vector<Value>& {name}) -> Value "
            "{ " + body + " }")


def plain_argument(kind, index):
    value = f"arguments[{index}]"
    if kind in ("long", "double", "bool"):
        return f"As<{ {'long': 'std::int32_t'}.get(kind, kind)}>({value})"
    if kind == "date":
        return f"As<double>({value})"
    if kind == "text":
        return f"As<std::string>({value})"
    if kind == "array":
        return f"AsArray({value})"
    if kind == "variant":
        return f"AsCell({value})"
    if kind == "object":
        return f"AsObject({value})"
    if kind.startswith("object:"):
        return f"Shared<platform::{kind[7:]}>({value})"
    if kind.endswith("&") and is_class(kind[:-1]):
        return f"Needed(Shared<{classes()[kind[:-1]][0]}>({value}))"
    if is_class(kind):
        return f"Shared<{classes()[kind][0]}>({value})"
    return f"static_cast<{kind}>(As<std::int32_t>({value}))"


def plain_rows():
    owners = classes()
    for m in members():
        if (m.type, m.name) in BY_HAND:
            row(m, f"ByHand_{m.type}_{m.name}")
            continue
        before, after, passed = "", "", []
        for i, (name, kind) in enumerate(m.arguments):
            if kind in ("long&", "double&"):
                # The variable has the declared type; what was in it before is passed on.
                type_name = "std::int32_t" if kind == "long&" else "double"
                before += f"{type_name} v{i} = As<{type_name}>(arguments[{i}]); "
                after += f"arguments[{i}] = v{i}; "
                passed.append(f"v{i}")
            elif kind == "text&":
                before += f"std::string v{i} = As<std::string>(arguments[{i}]); "
                after += f"arguments[{i}] = v{i}; "
                passed.append(f"v{i}")
            else:
                passed.append(plain_argument(kind, i))
        call = f"The<{owners[m.type][0]}>(object).{m.plain}({', '.join(passed)})"
        if not m.result:
            body = f"{before}{call}; {after}return Empty{{}};"
        else:
            given = held(m.result)
            wrapped = f'From({call}, "{given}")' if given else f"From({call})"
            body = f"{before}auto result = {wrapped}; {after}return result;" if after else \
                f"return {wrapped};"
        row(m, lambda_of(m, body))


COM_TYPES = {"long": "long", "double": "double", "bool": "VARIANT_BOOL", "text": "BSTR",
             "date": "DATE", "variant": "VARIANT"}


def com_argument(kind, index):
    value = f"arguments[{index}]"
    if kind == "long":
        return f"As<std::int32_t>({value})"
    if kind in ("double", "date"):
        return f"As<double>({value})"
    if kind == "bool":
        return f"(As<bool>({value}) ? VARIANT_TRUE : VARIANT_FALSE)"
    if kind == "text":
        return f"Text(As<std::string>({value})).text"
    if kind in ("array", "variant"):
        return f"Variant({value}).value"
    if kind == "object" or kind.startswith("object:"):
        return f"Dispatch({value})"
    name = kind.rstrip("&")
    if is_class(name):
        return f"Interface<I{name}>({value})"
    return f"static_cast<{kind}>(As<std::int32_t>({value}))"


def com_result_type(kind):
    if kind in COM_TYPES:
        return COM_TYPES[kind]
    if kind.startswith("array:"):
        return "VARIANT"
    if kind.startswith("object"):
        return "IDispatch*"
    return f"I{kind}*" if is_class(kind) else kind


def com_rows():
    for m in members():
        if (m.type, m.name) in BY_HAND:
            row(m, f"ByHand_{m.type}_{m.name}")
            continue
        before, after, passed = "", "", []
        for i, (name, kind) in enumerate(m.arguments):
            if kind in ("long&", "double&"):
                type_name = kind[:-1]
                as_type = "std::int32_t" if kind == "long&" else "double"
                before += f"{type_name} v{i} = As<{as_type}>(arguments[{i}]); "
                after += f"arguments[{i}] = static_cast<{as_type}>(v{i}); "
                passed.append(f"&v{i}")
            elif kind == "text&":
                before += f"Text v{i}(As<std::string>(arguments[{i}])); "
                after += f"arguments[{i}] = v{i}.Utf8(); "
                passed.append(f"&v{i}.text")
            else:
                passed.append(com_argument(kind, i))
        function = {"get": "get_", "let": "put_", "set": "putref_", "method": ""}[m.kind] + m.name
        if m.result:
            before += f"{com_result_type(m.result)} result{{}}; "
            passed.append("&result")
        call = f"Check(The<I{m.type}>(object)->{function}({', '.join(passed)}), " \
               f"The<I{m.type}>(object), IID_I{m.type}); "
        done = "return Empty{};"
        if m.result:
            given = held(m.result)
            done = "return Taken(result);"
            if given:
                done = f'return Taken<I{given}>(result, IID_I{given}, "{given}");'
        row(m, lambda_of(m, before + call + after + done))


def headers():
    for header in sorted({header for _, header, _, _ in classes().values()}):
        print(f'#include "{header}"')


def plain_creators():
    for name, (_, _, made, _) in classes().items():
        if made:
            print(f'{{"{name}", []() -> std::shared_ptr<void> {{ return Kept({made}); }}}},')


def com_creators():
    for name, (_, _, _, prog_id) in classes().items():
        print(f'{{"{name}", "{prog_id}", &IID_I{name}}},')


def script():
    """Read_Class(o) and Properties_Class(o): a line for every value that a script can read without
    arguments, the latter for properties alone; Reads(name, o) and Properties(name, o) pick one."""
    found = {"Read": [], "Properties": []}
    for name in classes():
        for sub, names in found.items():
            of_class = [m for m in members()
                        if m.type == name and m.read and (sub == "Read" or m.kind == "get")]
            if not of_class:
                continue
            names.append(name)
            print(f"Sub {sub}_{name}(o)\nDim v\nOn Error Resume Next")
            for m in of_class:
                assign = "Set v = " if held(m.result) else "v = "
                print(f'v = Empty : Err.Clear : {assign}o.{m.name} : Tell "{name}.{m.name}", v')
            print("End Sub")
    for sub, picker in (("Read", "Reads"), ("Properties", "Properties")):
        print(f"Sub {picker}(name, o)\nSelect Case name")
        for name in found[sub]:
            print(f'Case "{name}" : {sub}_{name} o')
        print("Case Else : Err.Raise 5\nEnd Select\nEnd Sub")


def main_list():
    for member in members():
        print(member.key)


COMMANDS = {"plain": plain_rows, "plain-creators": plain_creators, "headers": headers,
            "com": com_rows, "com-creators": com_creators, "script": script, "list": main_list}


def main():
    if len(sys.argv) != 3 or sys.argv[1] not in COMMANDS:
        sys.exit(__doc__)
    with open(sys.argv[2], "w", encoding="utf-8") as out, contextlib.redirect_stdout(out):
        COMMANDS[sys.argv[1]]()


if __name__ == "__main__":
    main()
