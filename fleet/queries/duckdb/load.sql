-- Reads the records of runs (*.jsonl) in this folder, and in folders below it, into tables that the queries beside
-- this file ask. Run it where the records are:
--
--     cd records && duckdb ../fleet.duckdb < .../load.sql
--
-- Run it again, and the tables are made anew.

BEGIN;
DROP VIEW IF EXISTS newest;

-- Of each line only what the tables below are made of. What is no JSON, such as the last line of a record that was cut
-- off, is null.
CREATE OR REPLACE TEMP TABLE line AS
SELECT filename AS record,
       CAST(json->>'$.sequenceNumber' AS BIGINT) AS sequence,
       json->>'$.timestamp' AS time,
       json->'$.testRunArtifact.testRunStart' AS start,
       json->>'$.testStepArtifact.testStepStart.name' AS test,
       json->'$.testStepArtifact.measurement' AS measurement,
       json->>'$.testStepArtifact.extension.name' AS extension,
       CASE WHEN (json->>'$.testStepArtifact.extension.name') IN ('drive', 'health', 'badSectors', 'regions', 'result')
            THEN json->'$.testStepArtifact.extension.content' END AS content
FROM read_ndjson_objects('**/*.jsonl', filename = true, ignore_errors = true, maximum_object_size = 134217728);

-- Files that are no record, or lack a line of theirs.
CREATE OR REPLACE TABLE left_out AS
SELECT record FROM line GROUP BY record
HAVING count(*) FILTER (WHERE sequence = 1 AND (start->>'$.name') = 'drivetest') <> 1
    OR count(sequence) <> max(sequence) + 1 OR count(DISTINCT sequence) <> count(sequence);

CREATE OR REPLACE TEMP TABLE every_run AS
SELECT record,
       coalesce(any_value(start->>'$.dutInfo.hardwareInfos[0].name'), '') AS model,
       coalesce(any_value(start->>'$.dutInfo.hardwareInfos[0].serialNumber'), '') AS serial,
       coalesce(any_value(start->>'$.dutInfo.hardwareInfos[0].revision'), '') AS firmware,
       any_value(start->>'$.dutInfo.name') AS device,
       any_value(test) AS test,
       any_value(content->>'$.result') FILTER (WHERE extension = 'result') AS result,
       any_value(time) FILTER (WHERE sequence = 1) AS started,
       max(time) AS ended,
       any_value(start->>'$.commandLine') AS command_line,
       any_value(CAST(measurement->>'$.value' AS DOUBLE)) FILTER (WHERE (measurement->>'$.name') = 'readRate') AS read_rate,
       -- After the run, if the drive told then; else before.
       arg_max(CAST(content->>'$.counters.powerOnHours' AS BIGINT), sequence)
           FILTER (WHERE extension = 'health') AS power_on_hours,
       any_value(CAST(content->>'$.sectors' AS BIGINT)) FILTER (WHERE extension = 'drive') AS sectors
FROM line WHERE record NOT IN (SELECT record FROM left_out) GROUP BY record;

CREATE OR REPLACE TABLE bad AS
SELECT record, fault, CAST(range->>'$[0]' AS BIGINT) AS first, CAST(range->>'$[1]' AS BIGINT) AS last
FROM (SELECT record, content->>'$.fault' AS fault, unnest(CAST(content->'$.ranges' AS JSON[])) AS range
      FROM line WHERE extension = 'badSectors');

-- A run that was gone on with has a record for each part, and a record may have been copied: the one that tells most
-- counts. Drives are known by model and serial number, or by where they are when they have none.
CREATE OR REPLACE TABLE run AS
SELECT record, CASE WHEN serial = '' THEN device ELSE trim(model || ' ' || serial) END AS drive,
       model, serial, firmware, device, test, result, started, ended, read_rate, power_on_hours, sectors,
       coalesce((SELECT CAST(sum(last - first + 1) AS BIGINT) FROM bad WHERE bad.record = every_run.record), 0) AS bad_sectors
FROM every_run
QUALIFY row_number() OVER (PARTITION BY model, serial, CASE WHEN serial = '' THEN device END, test, started, command_line
                           ORDER BY result IS NULL, ended DESC, record) = 1;
DELETE FROM bad WHERE record NOT IN (SELECT record FROM run);

-- A drive in 32 parts at most, of equal size; only parts that took long enough to say something.
CREATE OR REPLACE TABLE region AS
WITH moved AS (
    SELECT record, CAST(content->>'$.sectorsPerRegion' AS BIGINT) AS sectors,
           (CAST(content->>'$.regions' AS BIGINT) + 31) // 32 AS size,
           unnest(CAST(content->'$.read.bytes' AS BIGINT[])) AS bytes,
           unnest(CAST(content->'$.read.us' AS BIGINT[])) AS us,
           generate_subscripts(CAST(content->'$.read.us' AS BIGINT[]), 1) - 1 AS number
    FROM line WHERE extension = 'regions' AND record IN (SELECT record FROM run)
)
SELECT record, number // size AS part, number // size * size * sectors AS first,
       (number // size + 1) * size * sectors - 1 AS last, sum(bytes) / 1.048576 / sum(us) AS rate
FROM moved GROUP BY record, sectors, size, part HAVING sum(us) >= 50000;

-- The runs of each test on each drive by age: 1 is the newest one.
CREATE VIEW newest AS
SELECT *, row_number() OVER (PARTITION BY model, serial, CASE WHEN serial = '' THEN device END, test
                             ORDER BY started DESC) AS age
FROM run;
COMMIT;

SELECT count(*) || ' runs, ' || (SELECT count(*) FROM left_out) || ' files left out' AS loaded FROM run;
