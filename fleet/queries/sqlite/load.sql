-- Reads the records of runs (*.jsonl) in this folder, and in folders below it, into tables that the queries beside
-- this file ask. With SQLite's command-line tool, whose table-valued function fsdir() reads files:
--
--     cd records && sqlite3 ../fleet.db < .../load.sql
--
-- Run it again, and the tables are made anew.

BEGIN;
DROP VIEW IF EXISTS newest;
DROP TABLE IF EXISTS file;
DROP TABLE IF EXISTS left_out;
DROP TABLE IF EXISTS run;
DROP TABLE IF EXISTS bad;
DROP TABLE IF EXISTS region;

-- A record is an object a line, so that commas between the lines make one array of it. What follows the last line
-- break of a record that was cut off is no object yet. Nothing that is no file is opened.
CREATE TEMP TABLE text AS
WITH bytes AS (
    SELECT name AS record, CAST(data AS TEXT) AS data FROM fsdir('.')
    WHERE name LIKE '%.jsonl' AND (mode & 61440) = 32768
), lines AS (
    SELECT record, CASE WHEN json_valid('[' || replace(rtrim(data, char(10)), char(10), ',') || ']') THEN data
                        ELSE rtrim(data, replace(data, char(10), '')) END AS data
    FROM bytes
)
SELECT record, '[' || replace(rtrim(data, char(10)), char(10), ',') || ']' AS data FROM lines;

-- Of each line only what the tables below are made of.
CREATE TEMP TABLE line AS
SELECT record, each.key AS number,
       json_extract(each.value, '$.sequenceNumber') AS sequence,
       json_extract(each.value, '$.timestamp') AS time,
       json_extract(each.value, '$.testRunArtifact.testRunStart') AS start,
       json_extract(each.value, '$.testStepArtifact.testStepStart.name') AS test,
       json_extract(each.value, '$.testStepArtifact.measurement') AS measurement,
       json_extract(each.value, '$.testStepArtifact.extension.name') AS extension,
       CASE WHEN json_extract(each.value, '$.testStepArtifact.extension.name')
                 IN ('drive', 'health', 'badSectors', 'regions', 'result')
            THEN json_extract(each.value, '$.testStepArtifact.extension.content') END AS content
FROM (SELECT record, data FROM text WHERE json_valid(data)), json_each(data) AS each;
CREATE INDEX line_of_record ON line (record, extension);

-- Files that are no record, or lack a line of theirs.
CREATE TABLE left_out AS
SELECT record FROM text
WHERE NOT EXISTS (SELECT 1 FROM line WHERE line.record = text.record AND number = 1
                  AND json_extract(start, '$.name') = 'drivetest')
   OR EXISTS (SELECT 1 FROM line WHERE line.record = text.record AND sequence IS NOT number);

CREATE TEMP TABLE every_run AS
SELECT record, drive.*,
       (SELECT test FROM line WHERE line.record = beginning.record AND test IS NOT NULL) AS test,
       (SELECT json_extract(content, '$.result') FROM line
        WHERE line.record = beginning.record AND extension = 'result') AS result,
       time AS started,
       (SELECT max(time) FROM line WHERE line.record = beginning.record) AS ended,
       json_extract(start, '$.commandLine') AS command_line,
       (SELECT json_extract(measurement, '$.value') FROM line
        WHERE line.record = beginning.record AND json_extract(measurement, '$.name') = 'readRate') AS read_rate,
       -- After the run, if the drive told then; else before.
       (SELECT json_extract(content, '$.counters.powerOnHours') FROM line
        WHERE line.record = beginning.record AND extension = 'health'
        ORDER BY number DESC LIMIT 1) AS power_on_hours,
       (SELECT json_extract(content, '$.sectors') FROM line
        WHERE line.record = beginning.record AND extension = 'drive') AS sectors
FROM line AS beginning
JOIN (SELECT record AS of_record,
             coalesce(json_extract(start, '$.dutInfo.hardwareInfos[0].name'), '') AS model,
             coalesce(json_extract(start, '$.dutInfo.hardwareInfos[0].serialNumber'), '') AS serial,
             coalesce(json_extract(start, '$.dutInfo.hardwareInfos[0].revision'), '') AS firmware,
             json_extract(start, '$.dutInfo.name') AS device
      FROM line WHERE number = 1) AS drive ON of_record = record
WHERE number = 1 AND record NOT IN (SELECT record FROM left_out);

-- A run that was gone on with has a record for each part, and a record may have been copied: the one that tells most
-- counts. Drives are known by model and serial number, or by where they are when they have none.
CREATE TABLE run AS
SELECT record, CASE WHEN serial = '' THEN device ELSE trim(model || ' ' || serial) END AS drive,
       model, serial, firmware, device, test, result, started, ended, read_rate, power_on_hours, sectors,
       0 AS bad_sectors
FROM (SELECT *, row_number() OVER (PARTITION BY model, serial, CASE WHEN serial = '' THEN device END, test, started,
                                                command_line
                                   ORDER BY result IS NULL, ended DESC, record) AS rank FROM every_run)
WHERE rank = 1;

CREATE TABLE bad AS
SELECT record, json_extract(content, '$.fault') AS fault,
       json_extract(range.value, '$[0]') AS first, json_extract(range.value, '$[1]') AS last
FROM line, json_each(content, '$.ranges') AS range
WHERE extension = 'badSectors' AND record IN (SELECT record FROM run);
CREATE INDEX bad_of_record ON bad (record);
UPDATE run SET bad_sectors = coalesce((SELECT sum(last - first + 1) FROM bad WHERE bad.record = run.record), 0);

-- A drive in 32 parts at most, of equal size; only parts that took long enough to say something.
CREATE TEMP TABLE moved AS
SELECT record, json_extract(content, '$.sectorsPerRegion') AS sectors, (json_extract(content, '$.regions') + 31) / 32 AS size,
       json_extract(content, '$.read.bytes') AS bytes, json_extract(content, '$.read.us') AS us
FROM line WHERE extension = 'regions' AND record IN (SELECT record FROM run);
CREATE TEMP TABLE elapsed AS
SELECT record, each.key / size AS part, sum(each.value) AS us FROM moved, json_each(us) AS each GROUP BY record, part;
CREATE INDEX elapsed_of_record ON elapsed (record, part);
CREATE TABLE region AS
SELECT record, part, part * size * sectors AS first, (part + 1) * size * sectors - 1 AS last,
       bytes / 1.048576 / us AS rate
FROM (SELECT record, each.key / size AS part, size, sectors, sum(each.value) AS bytes
      FROM moved, json_each(bytes) AS each GROUP BY record, part)
JOIN elapsed USING (record, part) WHERE us >= 50000;
CREATE INDEX region_of_record ON region (record, part);

-- The runs of each test on each drive by age: 1 is the newest one.
CREATE VIEW newest AS
SELECT *, row_number() OVER (PARTITION BY model, serial, CASE WHEN serial = '' THEN device END, test
                             ORDER BY started DESC) AS age
FROM run;
COMMIT;

SELECT count(*) || ' runs, ' || (SELECT count(*) FROM left_out) || ' files left out' FROM run;
