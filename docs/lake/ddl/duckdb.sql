-- Written by `vmr_schema --ddl docs/lake/ddl`. The lake's tables, schema version 2.
-- Views over the lake in the folder that the variable `lake` names; 'lake' if it is not set:
--   SET VARIABLE lake = '/data/lake';
-- They are of this session. Its first table, the recordings, is taken down as it is now, and the
-- views show rows of these recordings alone: each whole, and none that an export is still at. Run
-- it again in the next session, and when the lake has grown. A kind without a file has its columns
-- and no rows.

SET VARIABLE lake = coalesce(getvariable('lake'), 'lake');

-- What reads the files of a folder, as text; no file is an error to read_parquet. By itself that
-- goes by the columns of the first file and opens no other that a query does not need. Where files
-- were written with different schema versions it has to look into all of them first (by_name), else
-- columns that came later would be missing.
SET VARIABLE lake_by_name = true;
CREATE OR REPLACE TEMP MACRO lake_rows(place, options) AS (
  SELECT CASE WHEN count(*) = 0 THEN 'SELECT NULL::VARCHAR AS unit WHERE false'
              ELSE 'FROM read_parquet(''' || replace(getvariable('lake') || place, '''', '''''')
                   || ''', union_by_name = ' || getvariable('lake_by_name') || options || ')' END
  FROM (FROM glob(getvariable('lake') || place) LIMIT 1)
);

-- recordings: one row for each recording
SET VARIABLE lake_recordings = lake_rows('/recordings/*.parquet', '');
CREATE OR REPLACE TEMP TABLE "recordings" AS
FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::VARCHAR AS "source",
        NULL::VARCHAR AS "serial_number",
        NULL::VARCHAR AS "mac",
        NULL::VARCHAR AS "status",
        NULL::VARCHAR AS "findings",
        NULL::BIGINT AS "first_tick",
        NULL::BIGINT AS "last_tick",
        NULL::TIMESTAMP AS "first_time",
        NULL::TIMESTAMP AS "last_time",
        NULL::VARCHAR AS "time_quality",
        NULL::BIGINT AS "records",
        NULL::BIGINT AS "packets_bytes",
        NULL::BIGINT AS "wrong_crc",
        NULL::BIGINT AS "gaps",
        NULL::BIGINT AS "clock_steps",
        NULL::BIGINT AS "runs",
        NULL::BOOLEAN AS "overwritten",
        NULL::BIGINT AS "clusters",
        NULL::VARCHAR AS "file_1",
        NULL::VARCHAR AS "file_2",
        NULL::VARCHAR AS "packets_sha256",
        NULL::VARCHAR AS "file_1_sha256",
        NULL::VARCHAR AS "file_2_sha256",
        NULL::VARCHAR AS "tool_version",
        NULL::INTEGER AS "schema_version"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_recordings'));
SET VARIABLE lake_by_name = (SELECT count(DISTINCT schema_version) > 1 FROM recordings);

-- time: what the unit's clock showed
SET VARIABLE lake_time = lake_rows('/kind=time/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "time" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::TIMESTAMP AS "clock",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_time'))) SEMI JOIN recordings USING (unit, recording);

-- time_zone: time zone, a name such as America/Chicago
SET VARIABLE lake_time_zone = lake_rows('/kind=time_zone/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "time_zone" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_time_zone'))) SEMI JOIN recordings USING (unit, recording);

-- time_zone_name: time zone as the unit shows it
SET VARIABLE lake_time_zone_name = lake_rows('/kind=time_zone_name/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "time_zone_name" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_time_zone_name'))) SEMI JOIN recordings USING (unit, recording);

-- mac: the unit's network address
SET VARIABLE lake_mac = lake_rows('/kind=mac/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "mac" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "mac",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_mac'))) SEMI JOIN recordings USING (unit, recording);

-- officer: officer's name
SET VARIABLE lake_officer = lake_rows('/kind=officer/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "officer" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_officer'))) SEMI JOIN recordings USING (unit, recording);

-- badge: officer's badge
SET VARIABLE lake_badge = lake_rows('/kind=badge/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "badge" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_badge'))) SEMI JOIN recordings USING (unit, recording);

-- department: department
SET VARIABLE lake_department = lake_rows('/kind=department/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "department" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_department'))) SEMI JOIN recordings USING (unit, recording);

-- vehicle: vehicle
SET VARIABLE lake_vehicle = lake_rows('/kind=vehicle/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "vehicle" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_vehicle'))) SEMI JOIN recordings USING (unit, recording);

-- serial_number: the unit's serial number
SET VARIABLE lake_serial_number = lake_rows('/kind=serial_number/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "serial_number" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_serial_number'))) SEMI JOIN recordings USING (unit, recording);

-- version: version of a component of the unit
SET VARIABLE lake_version = lake_rows('/kind=version/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "version" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "component",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_version'))) SEMI JOIN recordings USING (unit, recording);

-- policy: a setting of the unit
SET VARIABLE lake_policy = lake_rows('/kind=policy/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "policy" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "policy",
        NULL::BIGINT AS "value",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_policy'))) SEMI JOIN recordings USING (unit, recording);

-- configuration_end: end of the unit's settings
SET VARIABLE lake_configuration_end = lake_rows('/kind=configuration_end/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "configuration_end" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_configuration_end'))) SEMI JOIN recordings USING (unit, recording);

-- input: an input went on or off
SET VARIABLE lake_input = lake_rows('/kind=input/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "input" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "input",
        NULL::BOOLEAN AS "on",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_input'))) SEMI JOIN recordings USING (unit, recording);

-- button: a button was used
SET VARIABLE lake_button = lake_rows('/kind=button/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "button" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "button",
        NULL::VARCHAR AS "action",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_button'))) SEMI JOIN recordings USING (unit, recording);

-- bookmark: a moment was marked
SET VARIABLE lake_bookmark = lake_rows('/kind=bookmark/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "bookmark" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_bookmark'))) SEMI JOIN recordings USING (unit, recording);

-- position: where the vehicle is
SET VARIABLE lake_position = lake_rows('/kind=position/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "position" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::DECIMAL(10,7) AS "latitude",
        NULL::INTEGER AS "latitude_tts",
        NULL::DECIMAL(10,7) AS "longitude",
        NULL::INTEGER AS "longitude_tts",
        NULL::BOOLEAN AS "absolute",
        NULL::VARCHAR AS "position",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_position'))) SEMI JOIN recordings USING (unit, recording);

-- gps_receiver: the receiver's name
SET VARIABLE lake_gps_receiver = lake_rows('/kind=gps_receiver/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "gps_receiver" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_gps_receiver'))) SEMI JOIN recordings USING (unit, recording);

-- gps_state: whether the receiver delivers positions
SET VARIABLE lake_gps_state = lake_rows('/kind=gps_state/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "gps_state" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BOOLEAN AS "available",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_gps_state'))) SEMI JOIN recordings USING (unit, recording);

-- speed: a speed
SET VARIABLE lake_speed = lake_rows('/kind=speed/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "speed" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BIGINT AS "device",
        NULL::BIGINT AS "speed",
        NULL::VARCHAR AS "speed_status",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_speed'))) SEMI JOIN recordings USING (unit, recording);

-- speed_device: what a device for speeds is
SET VARIABLE lake_speed_device = lake_rows('/kind=speed_device/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "speed_device" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BIGINT AS "device",
        NULL::VARCHAR AS "units",
        NULL::VARCHAR AS "type",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_speed_device'))) SEMI JOIN recordings USING (unit, recording);

-- radar: a radar's reading
SET VARIABLE lake_radar = lake_rows('/kind=radar/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "radar" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BIGINT AS "radar",
        NULL::BIGINT AS "target",
        NULL::VARCHAR AS "target_status",
        NULL::BIGINT AS "lock",
        NULL::VARCHAR AS "lock_status",
        NULL::BIGINT AS "fastest",
        NULL::VARCHAR AS "fastest_status",
        NULL::BIGINT AS "direction",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_radar'))) SEMI JOIN recordings USING (unit, recording);

-- radar_device: what a radar is
SET VARIABLE lake_radar_device = lake_rows('/kind=radar_device/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "radar_device" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BIGINT AS "radar",
        NULL::VARCHAR AS "units",
        NULL::VARCHAR AS "type",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_radar_device'))) SEMI JOIN recordings USING (unit, recording);

-- radar_state: whether a radar is connected
SET VARIABLE lake_radar_state = lake_rows('/kind=radar_state/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "radar_state" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BIGINT AS "radar",
        NULL::BOOLEAN AS "connected",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_radar_state'))) SEMI JOIN recordings USING (unit, recording);

-- microphone: a microphone came, went, or was switched
SET VARIABLE lake_microphone = lake_rows('/kind=microphone/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "microphone" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BIGINT AS "stream_number",
        NULL::BIGINT AS "position",
        NULL::VARCHAR AS "what",
        NULL::BOOLEAN AS "value",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_microphone'))) SEMI JOIN recordings USING (unit, recording);

-- microphone_name: a microphone's name
SET VARIABLE lake_microphone_name = lake_rows('/kind=microphone_name/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "microphone_name" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BIGINT AS "stream_number",
        NULL::BIGINT AS "position",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_microphone_name'))) SEMI JOIN recordings USING (unit, recording);

-- camera: a camera was switched
SET VARIABLE lake_camera = lake_rows('/kind=camera/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "camera" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BIGINT AS "port",
        NULL::VARCHAR AS "state",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_camera'))) SEMI JOIN recordings USING (unit, recording);

-- camera_name: where a camera looks
SET VARIABLE lake_camera_name = lake_rows('/kind=camera_name/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "camera_name" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BIGINT AS "port",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_camera_name'))) SEMI JOIN recordings USING (unit, recording);

-- stream: recording of a video stream was switched
SET VARIABLE lake_stream = lake_rows('/kind=stream/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "stream" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BIGINT AS "stream",
        NULL::VARCHAR AS "state",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_stream'))) SEMI JOIN recordings USING (unit, recording);

-- stream_format: format of a video stream
SET VARIABLE lake_stream_format = lake_rows('/kind=stream_format/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "stream_format" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BIGINT AS "stream",
        NULL::VARCHAR AS "format",
        NULL::VARCHAR AS "camera",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_stream_format'))) SEMI JOIN recordings USING (unit, recording);

-- live_stream: a stream over the network was switched
SET VARIABLE lake_live_stream = lake_rows('/kind=live_stream/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "live_stream" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BIGINT AS "stream",
        NULL::BIGINT AS "camera",
        NULL::BOOLEAN AS "enabled",
        NULL::VARCHAR AS "quality",
        NULL::VARCHAR AS "address",
        NULL::BIGINT AS "port",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_live_stream'))) SEMI JOIN recordings USING (unit, recording);

-- temperature: a temperature in the unit
SET VARIABLE lake_temperature = lake_rows('/kind=temperature/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "temperature" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "sensor",
        NULL::BIGINT AS "temperature",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_temperature'))) SEMI JOIN recordings USING (unit, recording);

-- temperature_sensor: name of a sensor
SET VARIABLE lake_temperature_sensor = lake_rows('/kind=temperature_sensor/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "temperature_sensor" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "sensor",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_temperature_sensor'))) SEMI JOIN recordings USING (unit, recording);

-- voltage: the supply's voltage
SET VARIABLE lake_voltage = lake_rows('/kind=voltage/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "voltage" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BIGINT AS "percent",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_voltage'))) SEMI JOIN recordings USING (unit, recording);

-- log: a free text
SET VARIABLE lake_log = lake_rows('/kind=log/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "log" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_log'))) SEMI JOIN recordings USING (unit, recording);

-- test: a free text, of a test
SET VARIABLE lake_test = lake_rows('/kind=test/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "test" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "text",
        NULL::VARCHAR AS "text_bytes",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_test'))) SEMI JOIN recordings USING (unit, recording);

-- tick_adjust: the next record is of an earlier tick
SET VARIABLE lake_tick_adjust = lake_rows('/kind=tick_adjust/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "tick_adjust" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::BIGINT AS "ticks",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_tick_adjust'))) SEMI JOIN recordings USING (unit, recording);

-- end_of_stream: the recording ends here
SET VARIABLE lake_end_of_stream = lake_rows('/kind=end_of_stream/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "end_of_stream" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "time",
        NULL::VARCHAR AS "time_quality",
        NULL::BOOLEAN AS "repeats",
        NULL::VARCHAR AS "packet_crc",
        NULL::INTEGER AS "adjusted_by",
        NULL::INTEGER AS "run",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_end_of_stream'))) SEMI JOIN recordings USING (unit, recording);

-- clock_step: the unit's clock was set
SET VARIABLE lake_clock_step = lake_rows('/kind=clock_step/*/*.parquet', ', hive_types = {kind: VARCHAR, date: DATE}');
CREATE OR REPLACE TEMP VIEW "clock_step" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::BIGINT AS "tick",
        NULL::TIMESTAMP AS "expected",
        NULL::TIMESTAMP AS "told",
        NULL::BIGINT AS "step_ms",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset",
        NULL::VARCHAR AS "kind",
        NULL::DATE AS "date"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_clock_step'))) SEMI JOIN recordings USING (unit, recording);

-- gaps: parts that are lost or damaged
SET VARIABLE lake_gaps = lake_rows('/gaps/*.parquet', '');
CREATE OR REPLACE TEMP VIEW "gaps" AS
FROM (FROM (SELECT NULL::VARCHAR AS "unit",
        NULL::VARCHAR AS "recording",
        NULL::VARCHAR AS "reason",
        NULL::BIGINT AS "from_tick",
        NULL::BIGINT AS "to_tick",
        NULL::TIMESTAMP AS "from_time",
        NULL::TIMESTAMP AS "to_time",
        NULL::INTEGER AS "clusters",
        NULL::BIGINT AS "bytes",
        NULL::INTEGER AS "file",
        NULL::INTEGER AS "cluster",
        NULL::BIGINT AS "offset"
      WHERE false)
UNION ALL BY NAME FROM query(getvariable('lake_gaps'))) SEMI JOIN recordings USING (unit, recording);

-- records: rows of every kind, by what they have in common
CREATE OR REPLACE TEMP VIEW "records" AS
SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "time"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "time_zone"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "time_zone_name"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "mac"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "officer"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "badge"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "department"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "vehicle"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "serial_number"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "version"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "policy"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "configuration_end"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "input"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "button"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "bookmark"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "position"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "gps_receiver"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "gps_state"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "speed"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "speed_device"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "radar"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "radar_device"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "radar_state"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "microphone"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "microphone_name"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "camera"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "camera_name"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "stream"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "stream_format"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "live_stream"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "temperature"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "temperature_sensor"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "voltage"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "log"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "test"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "tick_adjust"
UNION ALL SELECT unit, recording, kind, tick, time, time_quality, repeats, packet_crc, run, date FROM "end_of_stream";
