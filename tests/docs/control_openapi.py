"""Holds docs/control-api.yaml against the page and against a service that answers.

    control_openapi.py YAML PAGE SOCKET

Every request of the page stands in the file and the other way round; every answer has exactly
the fields of its schema, with their types; the metrics are OpenMetrics.
"""
import http.client
import json
import re
import socket
import sys

import yaml

SPEC = yaml.safe_load(open(sys.argv[1], encoding="utf-8"))
PAGE = open(sys.argv[2], encoding="utf-8").read()
failures = []


def check(condition, message):
    if not condition:
        failures.append(message)


class Connection(http.client.HTTPConnection):
    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.settimeout(20)
        self.sock.connect(sys.argv[3])


def ask(method, path, body=None):
    connection = Connection("localhost")
    connection.request(method, path, body=None if body is None else json.dumps(body))
    answer = connection.getresponse()
    text = answer.read().decode()
    connection.close()
    return answer.status, answer.headers, text


def resolve(schema):
    while "$ref" in schema:
        node = SPEC
        for part in schema["$ref"].lstrip("#/").split("/"):
            node = node[part]
        schema = node
    return schema


TYPES = {"string": str, "integer": int, "number": (int, float), "boolean": bool, "array": list, "object": dict}


def fits(value, schema, where):
    schema = resolve(schema)
    if value is None:
        check(schema.get("nullable"), f"{where}: null is not foreseen")
        return
    if "allOf" in schema:
        return fits(value, schema["allOf"][0], where)
    kind = schema["type"]
    isRight = isinstance(value, TYPES[kind]) and (kind == "boolean" or not isinstance(value, bool))
    check(isRight, f"{where}: {value!r} is no {kind}")
    if not isRight:
        return
    if "enum" in schema:
        check(value in schema["enum"], f"{where}: {value!r} is not foreseen")
    if kind == "array":
        for each in value:
            fits(each, schema["items"], where + "[]")
    if kind == "object":
        fields = schema["properties"]
        optional = set(fields) - set(schema.get("required", fields))
        for name in set(fields) - set(value) - optional:
            check(False, f"{where}: {name} is missing")
        for name, each in value.items():
            check(name in fields, f"{where}: {name} is not in the file")
            if name in fields:
                fits(each, fields[name], f"{where}.{name}")


# The requests: in the table of the page, in the file, and answered.
listed = set()
for methods, right in re.findall(r"^\| (`(?:GET|PATCH|POST) [^|]*) \| (read|change) \|", PAGE, re.M):
    words = re.findall(r"`([^`]*)`", methods)
    method, first = words[0].split(" ")
    folder = first.rsplit("/", 1)[0]
    for path in [first] + [f"{folder}/{word}" for word in words[1:]]:
        listed.add((method, path))
described = {(method.upper(), path) for path, item in SPEC["paths"].items() for method in item}
check(listed == described, f"page and file differ: {sorted(listed ^ described)}")

BODIES = {
    "/v1/settings": {"port": 1199},
    "/v1/simulate": {"speed": 2},
}
for method, path in sorted(described, key=lambda each: each[1] == "/v1/start"):
    operation = SPEC["paths"][path][method.lower()]
    known = {str(code) for code in operation["responses"]}
    content = operation["responses"]["200"]["content"]
    if "text/event-stream" in content:
        continue
    if path == "/v1/start":
        ask("POST", "/v1/enable")
        ask("POST", "/v1/online")
    status, headers, text = ask(method, path, BODIES.get(path) if method != "GET" else None)
    where = f"{method} {path}"
    check(status == 200, f"{where}: {status} {text}")
    check(headers["Content-Type"] in content, f"{where}: {headers['Content-Type']}")
    if "application/json" in content and status == 200:
        fits(json.loads(text), content["application/json"]["schema"], where)
    # The same path, asked wrongly.
    status, headers, text = ask("PUT", path)
    check(status == 405 and method in headers["Allow"], f"PUT {path}: {status}")
    fits(json.loads(text), SPEC["components"]["schemas"]["Error"], f"PUT {path}")
    for name in (each["name"] for each in operation.get("parameters", []) if each["in"] == "query"):
        status, _, text = ask(method, f"{path}?{name}=%00")
        check(status == 422 and json.loads(text)["error"]["field"] == name, f"{where}?{name}: {status}")
    status, _, _ = ask(method, f"{path}?no_such_parameter=1")
    check(status == 422 and "422" in known, f"{where}?no_such_parameter: {status}")

# Every field of a patch is one that the service takes, and the other way round.
patch = resolve(SPEC["components"]["schemas"]["Patch"])["properties"]
settings = json.loads(ask("GET", "/v1/settings?secrets=1")[2])["settings"]
fits(settings, SPEC["components"]["schemas"]["SettingFields"], "settings")
check(set(patch) == set(settings) - {"password_set"} | {"dry_run"}, f"fields of a patch: {sorted(patch)}")
for name, value in settings.items():
    if name == "password_set":
        continue
    fits(value, patch[name], f"patch.{name}")
    status, _, text = ask("PATCH", "/v1/settings", {name: value, "dry_run": True})
    check(status == 200 and json.loads(text)["changed"] == [], f"PATCH {name}: {text}")

# The codes of errors.
codes = [each["code"] for each in json.loads(ask("GET", "/v1/reasons")[2])["errors"]]
known = resolve(SPEC["components"]["schemas"]["Error"])["properties"]["error"]["properties"]["code"]["enum"]
check(codes == known, f"codes of errors: {codes} {known}")

# The events.
connection = Connection("localhost")
connection.request("GET", "/v1/events?after=0")
stream = connection.getresponse()
event = None
seen = set()
while seen != {"status", "history"}:
    line = stream.readline().decode().rstrip("\n")
    if line.startswith("event: "):
        event = line[7:]
    if line.startswith("data: "):
        seen.add(event)
        schema = {"status": "Status", "history": "HistoryEntry"}[event]
        fits(json.loads(line[6:]), SPEC["components"]["schemas"][schema], event)
connection.close()

# The metrics, as another program reads them.
metrics = ask("GET", "/metrics")[2]
check(metrics.endswith("# EOF\n"), "metrics: no end")
from prometheus_client.openmetrics.parser import text_string_to_metric_families

families = {family.name: family for family in text_string_to_metric_families(metrics)}
calls = {
    sample.labels["method"]: sample.value
    for sample in families["orva_vpn_call_seconds"].samples
    if sample.name.endswith("_count") and sample.labels["interface"] == "control"
}
check(set(calls) == {f"{method} {path}" for method, path in described}, f"methods: {sorted(calls)}")
check(calls["GET /v1/reasons"] >= 2, "metrics: calls are not counted")

for each in failures:
    print(each, file=sys.stderr)
print(f"{len(described)} requests are as {sys.argv[1].rsplit('/', 1)[1]} has them" if not failures else "")
sys.exit(1 if failures else 0)
