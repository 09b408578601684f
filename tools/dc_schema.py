"""The cloud's event-document schemas (docs/schema): loading, validation and
the member-order check JSON Schema itself cannot express ("x-order")."""
import json
import os
import warnings

import jsonschema

HERE = os.path.dirname(os.path.abspath(__file__))
SCHEMA_DIR = os.path.join(os.path.dirname(HERE), "docs", "schema")
BASE = "https://schemas.example.invalid/data_collector/"

# The item words of the command table; any other /tmp/aws_json_<word> file is
# a document forwarded by the cloud command.
ITEMS = ["eventtype4", "routerInfo", "routerConfig", "connectedDevice", "vumba",
         "mediaDevice", "cpu", "memory", "eventtype2", "eventtype0", "firmware",
         "eventtype5", "wifiScanResult", "eventtype7", "all", "eventtype10",
         "wifiConnectEvent"]


def load_json(path):
    with open(path, encoding="utf-8") as f:
        return json.load(f)


class Schemas:
    def __init__(self, directory=SCHEMA_DIR):
        self.store = {}
        for name in sorted(os.listdir(directory)):
            if name.endswith(".schema.json"):
                self.store[BASE + name] = load_json(os.path.join(directory, name))
        self.validators = {}

    def schema_name(self, word):
        return word + ".schema.json" if BASE + word + ".schema.json" in self.store \
            and word != "defs" else "cloud.schema.json"

    def validator(self, word):
        name = self.schema_name(word)
        if name not in self.validators:
            schema = self.store[BASE + name]
            with warnings.catch_warnings():
                warnings.simplefilter("ignore", DeprecationWarning)
                resolver = jsonschema.RefResolver(BASE + name, schema, store=self.store)
            jsonschema.Draft202012Validator.check_schema(schema)
            self.validators[name] = (jsonschema.Draft202012Validator(
                schema, resolver=resolver, format_checker=None), resolver)
        return self.validators[name]

    def problems(self, word, doc):
        """Every schema violation and member-order fault of one document."""
        v, resolver = self.validator(word)
        out = []
        for e in sorted(v.iter_errors(doc), key=lambda e: list(e.absolute_path)):
            where = "/".join(str(p) for p in e.absolute_path) or "(root)"
            out.append(f"{where}: {e.message[:300]}")
        self._order(resolver, self.store[BASE + self.schema_name(word)], doc, "", out, 0)
        return out

    def _resolve(self, resolver, schema):
        seen = 0
        while isinstance(schema, dict) and "$ref" in schema and seen < 16:
            with warnings.catch_warnings():
                warnings.simplefilter("ignore", DeprecationWarning)
                _, schema = resolver.resolve(schema["$ref"])
            seen += 1
        return schema

    def _subschemas(self, resolver, schema):
        """The schema and the parts of allOf/$ref that describe the same value."""
        schema = self._resolve(resolver, schema)
        if not isinstance(schema, dict):
            return []
        parts = [schema]
        for sub in schema.get("allOf", []):
            parts += self._subschemas(resolver, sub)
        return parts

    def _matching(self, resolver, schema, doc):
        """The branches of anyOf/oneOf that the value satisfies."""
        out = []
        for part in self._subschemas(resolver, schema):
            for sub in part.get("anyOf", []) + part.get("oneOf", []):
                if jsonschema.Draft202012Validator(sub, resolver=resolver).is_valid(doc):
                    out.append(sub)
        return out

    def _order(self, resolver, schema, doc, path, out, depth):
        if depth > 32:
            return
        parts = self._subschemas(resolver, schema)
        for branch in self._matching(resolver, schema, doc):
            self._order(resolver, branch, doc, path, out, depth + 1)
        if isinstance(doc, dict):
            for part in parts:
                order = part.get("x-order")
                if order:
                    rank = {n: i for i, n in enumerate(order)}
                    names = [n for n in doc if n in rank]
                    if names != sorted(names, key=rank.get):
                        out.append(f"{path or '(root)'}: members out of order: {names}")
                for name, sub in part.get("properties", {}).items():
                    if name in doc:
                        self._order(resolver, sub, doc[name], f"{path}/{name}", out, depth + 1)
        elif isinstance(doc, list):
            for part in parts:
                fixed = part.get("prefixItems", [])
                for i, el in enumerate(doc):
                    sub = fixed[i] if i < len(fixed) else part.get("items")
                    if isinstance(sub, dict):
                        self._order(resolver, sub, el, f"{path}/{i}", out, depth + 1)


def object_pairs_strict(pairs):
    """json.load hook that refuses duplicate member names (the cloud would)."""
    names = [k for k, _ in pairs]
    if len(names) != len(set(names)):
        raise ValueError(f"duplicate member in {names}")
    return dict(pairs)
