-- A file of schema 1 as orva-vpnd 1.0 made it. Never changed: later ones must read it.
PRAGMA page_size=4096;
BEGIN;
CREATE TABLE setting (
    key TEXT NOT NULL PRIMARY KEY,
    value TEXT NOT NULL
) STRICT, WITHOUT ROWID;
CREATE TABLE history (
    id INTEGER PRIMARY KEY,
    first_ms INTEGER NOT NULL,
    last_ms INTEGER NOT NULL,
    count INTEGER NOT NULL,
    kind TEXT NOT NULL,
    subject TEXT NOT NULL,
    old_value TEXT NOT NULL,
    new_value TEXT NOT NULL,
    interface TEXT NOT NULL,
    uid INTEGER,
    program TEXT NOT NULL,
    outcome TEXT NOT NULL,
    reason INTEGER NOT NULL,
    detail TEXT NOT NULL
) STRICT;
INSERT INTO setting (key, value) VALUES
    ('port', '443'), ('server', 'vpn.example.com'), ('userName', 'panel');
INSERT INTO history VALUES
    (1, 1767225600000, 1767225600000, 1, 'service', 'start', '', '', 'service', NULL, '', 'done', 0, ''),
    (2, 1767225601000, 1767225604000, 3, 'setting', 'server', '', 'vpn.example.com', 'rpc', 1000, 'orva-panel', 'done', 0, ''),
    (3, 1767225605000, 1767225605000, 1, 'state', '5', '4', '5', 'service', NULL, '', 'done', 9, 'words'),
    (4, 1767225606000, 1767225606000, 1, 'request', 'stopVPN', '', '', 'control', 65534, '', 'not allowed', 0, '');
PRAGMA user_version=1;
PRAGMA application_id=1331036161;
COMMIT;
