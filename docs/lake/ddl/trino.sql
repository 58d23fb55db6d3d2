-- Written by `vmr_schema --ddl docs/lake/ddl`. The lake's tables, schema version 2.
-- For Trino's Hive connector, as the catalog `hive`. Put the lake's place for s3://BUCKET/lake.
-- sync_partition_metadata makes new days known: call it when the lake has grown. Checked by a
-- parser of Trino's SQL, and run on none.

CREATE SCHEMA IF NOT EXISTS hive.vmr;

-- recordings: one row for each recording
CREATE TABLE IF NOT EXISTS hive.vmr."recordings" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "source" VARCHAR COMMENT 'name of the store or file, without folders',
  "serial_number" VARCHAR COMMENT 'the first one told',
  "mac" VARCHAR COMMENT 'the first one told',
  "status" VARCHAR COMMENT 'ok, damaged, empty, mixed or unreadable',
  "findings" VARCHAR COMMENT 'what is wrong with it; null: nothing was found',
  "first_tick" BIGINT COMMENT '1/2 s: of records',
  "last_tick" BIGINT COMMENT '1/2 s: of records',
  "first_time" TIMESTAMP(3) COMMENT 'UTC, the first one known',
  "last_time" TIMESTAMP(3) COMMENT 'UTC, the last one known',
  "time_quality" VARCHAR COMMENT 'how well first_time is known',
  "records" BIGINT COMMENT 'in all tables of kinds',
  "packets_bytes" BIGINT COMMENT 'byte: of all packets',
  "wrong_crc" BIGINT COMMENT 'packets whose CRC is wrong',
  "gaps" BIGINT COMMENT 'rows of it in the table of gaps',
  "clock_steps" BIGINT COMMENT 'times that the clock was set',
  "runs" BIGINT COMMENT 'of ticks',
  "overwritten" BOOLEAN COMMENT 'newer packets stand in place of its beginning',
  "clusters" BIGINT COMMENT 'of a store, that hold the recording',
  "file_1" VARCHAR COMMENT 'health of the first file of a store',
  "file_2" VARCHAR COMMENT 'health of the second file of a store',
  "packets_sha256" VARCHAR COMMENT 'of all packets as they were read, in order',
  "file_1_sha256" VARCHAR COMMENT 'of the first or only file, with --digest',
  "file_2_sha256" VARCHAR COMMENT 'of the second file, with --digest',
  "tool_version" VARCHAR COMMENT 'of the vmr that made the row',
  "schema_version" INTEGER COMMENT 'of the columns'
) WITH (
  format = 'PARQUET',
  external_location = 's3://BUCKET/lake/recordings'
);

-- time: what the unit's clock showed
CREATE TABLE IF NOT EXISTS hive.vmr."time" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "clock" TIMESTAMP(3) COMMENT 'the unit''s clock, UTC',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=time'
);
CALL hive.system.sync_partition_metadata('vmr', 'time', 'FULL');

-- time_zone: time zone, a name such as America/Chicago
CREATE TABLE IF NOT EXISTS hive.vmr."time_zone" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=time_zone'
);
CALL hive.system.sync_partition_metadata('vmr', 'time_zone', 'FULL');

-- time_zone_name: time zone as the unit shows it
CREATE TABLE IF NOT EXISTS hive.vmr."time_zone_name" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=time_zone_name'
);
CALL hive.system.sync_partition_metadata('vmr', 'time_zone_name', 'FULL');

-- mac: the unit's network address
CREATE TABLE IF NOT EXISTS hive.vmr."mac" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "mac" VARCHAR COMMENT 'MAC address',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=mac'
);
CALL hive.system.sync_partition_metadata('vmr', 'mac', 'FULL');

-- officer: officer's name
CREATE TABLE IF NOT EXISTS hive.vmr."officer" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=officer'
);
CALL hive.system.sync_partition_metadata('vmr', 'officer', 'FULL');

-- badge: officer's badge
CREATE TABLE IF NOT EXISTS hive.vmr."badge" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=badge'
);
CALL hive.system.sync_partition_metadata('vmr', 'badge', 'FULL');

-- department: department
CREATE TABLE IF NOT EXISTS hive.vmr."department" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=department'
);
CALL hive.system.sync_partition_metadata('vmr', 'department', 'FULL');

-- vehicle: vehicle
CREATE TABLE IF NOT EXISTS hive.vmr."vehicle" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=vehicle'
);
CALL hive.system.sync_partition_metadata('vmr', 'vehicle', 'FULL');

-- serial_number: the unit's serial number
CREATE TABLE IF NOT EXISTS hive.vmr."serial_number" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=serial_number'
);
CALL hive.system.sync_partition_metadata('vmr', 'serial_number', 'FULL');

-- version: version of a component of the unit
CREATE TABLE IF NOT EXISTS hive.vmr."version" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "component" VARCHAR COMMENT 'which component',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=version'
);
CALL hive.system.sync_partition_metadata('vmr', 'version', 'FULL');

-- policy: a setting of the unit
CREATE TABLE IF NOT EXISTS hive.vmr."policy" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "policy" VARCHAR COMMENT 'which setting',
  "value" BIGINT COMMENT '0 no, 1 yes, or the number''s low byte',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=policy'
);
CALL hive.system.sync_partition_metadata('vmr', 'policy', 'FULL');

-- configuration_end: end of the unit's settings
CREATE TABLE IF NOT EXISTS hive.vmr."configuration_end" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=configuration_end'
);
CALL hive.system.sync_partition_metadata('vmr', 'configuration_end', 'FULL');

-- input: an input went on or off
CREATE TABLE IF NOT EXISTS hive.vmr."input" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "input" VARCHAR COMMENT 'which input',
  "on" BOOLEAN COMMENT 'it is on',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=input'
);
CALL hive.system.sync_partition_metadata('vmr', 'input', 'FULL');

-- button: a button was used
CREATE TABLE IF NOT EXISTS hive.vmr."button" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "button" VARCHAR COMMENT 'which button',
  "action" VARCHAR COMMENT 'what was done',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=button'
);
CALL hive.system.sync_partition_metadata('vmr', 'button', 'FULL');

-- bookmark: a moment was marked
CREATE TABLE IF NOT EXISTS hive.vmr."bookmark" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=bookmark'
);
CALL hive.system.sync_partition_metadata('vmr', 'bookmark', 'FULL');

-- position: where the vehicle is
CREATE TABLE IF NOT EXISTS hive.vmr."position" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "latitude" DECIMAL(10,7) COMMENT 'degrees: north positive',
  "latitude_tts" INTEGER COMMENT '1/600000 degree: as recorded',
  "longitude" DECIMAL(10,7) COMMENT 'degrees: east positive',
  "longitude_tts" INTEGER COMMENT '1/600000 degree: as recorded',
  "absolute" BOOLEAN COMMENT 'recorded whole, not as a way from the last position',
  "position" VARCHAR COMMENT 'unverified: its hemisphere is not known for sure',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=position'
);
CALL hive.system.sync_partition_metadata('vmr', 'position', 'FULL');

-- gps_receiver: the receiver's name
CREATE TABLE IF NOT EXISTS hive.vmr."gps_receiver" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=gps_receiver'
);
CALL hive.system.sync_partition_metadata('vmr', 'gps_receiver', 'FULL');

-- gps_state: whether the receiver delivers positions
CREATE TABLE IF NOT EXISTS hive.vmr."gps_state" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "available" BOOLEAN COMMENT 'it does',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=gps_state'
);
CALL hive.system.sync_partition_metadata('vmr', 'gps_state', 'FULL');

-- speed: a speed
CREATE TABLE IF NOT EXISTS hive.vmr."speed" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "device" BIGINT COMMENT '1 GPS, 2 radar; see speed_device',
  "speed" BIGINT COMMENT 'in the device''s units',
  "speed_status" VARCHAR COMMENT 'what the radar showed instead of a speed',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=speed'
);
CALL hive.system.sync_partition_metadata('vmr', 'speed', 'FULL');

-- speed_device: what a device for speeds is
CREATE TABLE IF NOT EXISTS hive.vmr."speed_device" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "device" BIGINT COMMENT 'its number',
  "units" VARCHAR COMMENT 'units of its speeds',
  "type" VARCHAR COMMENT 'what it is',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=speed_device'
);
CALL hive.system.sync_partition_metadata('vmr', 'speed_device', 'FULL');

-- radar: a radar's reading
CREATE TABLE IF NOT EXISTS hive.vmr."radar" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "radar" BIGINT COMMENT 'its number',
  "target" BIGINT COMMENT 'target''s speed, in the radar''s units',
  "target_status" VARCHAR COMMENT 'what the radar showed instead of a speed',
  "lock" BIGINT COMMENT 'locked speed',
  "lock_status" VARCHAR COMMENT 'what the radar showed instead of a speed',
  "fastest" BIGINT COMMENT 'fastest speed',
  "fastest_status" VARCHAR COMMENT 'what the radar showed instead of a speed',
  "direction" BIGINT COMMENT 'the direction''s lowest bit',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=radar'
);
CALL hive.system.sync_partition_metadata('vmr', 'radar', 'FULL');

-- radar_device: what a radar is
CREATE TABLE IF NOT EXISTS hive.vmr."radar_device" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "radar" BIGINT COMMENT 'its number',
  "units" VARCHAR COMMENT 'units of its speeds',
  "type" VARCHAR COMMENT 'what it is',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=radar_device'
);
CALL hive.system.sync_partition_metadata('vmr', 'radar_device', 'FULL');

-- radar_state: whether a radar is connected
CREATE TABLE IF NOT EXISTS hive.vmr."radar_state" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "radar" BIGINT COMMENT 'its number',
  "connected" BOOLEAN COMMENT 'it is connected',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=radar_state'
);
CALL hive.system.sync_partition_metadata('vmr', 'radar_state', 'FULL');

-- microphone: a microphone came, went, or was switched
CREATE TABLE IF NOT EXISTS hive.vmr."microphone" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "stream_number" BIGINT COMMENT 'the microphone as recordings number it',
  "position" BIGINT COMMENT 'the microphone as units number it',
  "what" VARCHAR COMMENT 'what is told of it',
  "value" BOOLEAN COMMENT 'whether it is so',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=microphone'
);
CALL hive.system.sync_partition_metadata('vmr', 'microphone', 'FULL');

-- microphone_name: a microphone's name
CREATE TABLE IF NOT EXISTS hive.vmr."microphone_name" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "stream_number" BIGINT COMMENT 'the microphone as recordings number it',
  "position" BIGINT COMMENT 'the microphone as units number it',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=microphone_name'
);
CALL hive.system.sync_partition_metadata('vmr', 'microphone_name', 'FULL');

-- camera: a camera was switched
CREATE TABLE IF NOT EXISTS hive.vmr."camera" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "port" BIGINT COMMENT 'camera port, from 0',
  "state" VARCHAR,
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=camera'
);
CALL hive.system.sync_partition_metadata('vmr', 'camera', 'FULL');

-- camera_name: where a camera looks
CREATE TABLE IF NOT EXISTS hive.vmr."camera_name" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "port" BIGINT COMMENT 'camera port, from 0',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=camera_name'
);
CALL hive.system.sync_partition_metadata('vmr', 'camera_name', 'FULL');

-- stream: recording of a video stream was switched
CREATE TABLE IF NOT EXISTS hive.vmr."stream" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "stream" BIGINT COMMENT 'from 0',
  "state" VARCHAR,
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=stream'
);
CALL hive.system.sync_partition_metadata('vmr', 'stream', 'FULL');

-- stream_format: format of a video stream
CREATE TABLE IF NOT EXISTS hive.vmr."stream_format" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "stream" BIGINT COMMENT 'from 0',
  "format" VARCHAR,
  "camera" VARCHAR COMMENT 'what it shows',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=stream_format'
);
CALL hive.system.sync_partition_metadata('vmr', 'stream_format', 'FULL');

-- live_stream: a stream over the network was switched
CREATE TABLE IF NOT EXISTS hive.vmr."live_stream" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "stream" BIGINT COMMENT 'from 0',
  "camera" BIGINT COMMENT 'camera port',
  "enabled" BOOLEAN COMMENT 'it runs',
  "quality" VARCHAR,
  "address" VARCHAR COMMENT 'where it goes, IPv4',
  "port" BIGINT COMMENT 'where it goes',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=live_stream'
);
CALL hive.system.sync_partition_metadata('vmr', 'live_stream', 'FULL');

-- temperature: a temperature in the unit
CREATE TABLE IF NOT EXISTS hive.vmr."temperature" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "sensor" VARCHAR COMMENT 'where',
  "temperature" BIGINT COMMENT 'degrees: as the sensor counts them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=temperature'
);
CALL hive.system.sync_partition_metadata('vmr', 'temperature', 'FULL');

-- temperature_sensor: name of a sensor
CREATE TABLE IF NOT EXISTS hive.vmr."temperature_sensor" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "sensor" VARCHAR COMMENT 'where',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=temperature_sensor'
);
CALL hive.system.sync_partition_metadata('vmr', 'temperature_sensor', 'FULL');

-- voltage: the supply's voltage
CREATE TABLE IF NOT EXISTS hive.vmr."voltage" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "percent" BIGINT COMMENT '%: of what it should be',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=voltage'
);
CALL hive.system.sync_partition_metadata('vmr', 'voltage', 'FULL');

-- log: a free text
CREATE TABLE IF NOT EXISTS hive.vmr."log" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=log'
);
CALL hive.system.sync_partition_metadata('vmr', 'log', 'FULL');

-- test: a free text, of a test
CREATE TABLE IF NOT EXISTS hive.vmr."test" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "text" VARCHAR COMMENT 'the text as recorded',
  "text_bytes" VARCHAR COMMENT 'the bytes in hexadecimal, where the text is not them',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=test'
);
CALL hive.system.sync_partition_metadata('vmr', 'test', 'FULL');

-- tick_adjust: the next record is of an earlier tick
CREATE TABLE IF NOT EXISTS hive.vmr."tick_adjust" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "ticks" BIGINT COMMENT 'ticks: so much earlier, modulo 256',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=tick_adjust'
);
CALL hive.system.sync_partition_metadata('vmr', 'tick_adjust', 'FULL');

-- end_of_stream: the recording ends here
CREATE TABLE IF NOT EXISTS hive.vmr."end_of_stream" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: nothing tells it where null',
  "time" TIMESTAMP(3) COMMENT 'UTC; nothing tells it where null',
  "time_quality" VARCHAR COMMENT 'how well the time is known',
  "repeats" BOOLEAN COMMENT 'part of a full state that says nothing new',
  "packet_crc" VARCHAR COMMENT 'wrong: the packet is damaged',
  "adjusted_by" INTEGER COMMENT '1/2 s: ticks taken off the packet''s',
  "run" INTEGER COMMENT 'ticks began anew so many times before',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=end_of_stream'
);
CALL hive.system.sync_partition_metadata('vmr', 'end_of_stream', 'FULL');

-- clock_step: the unit's clock was set
CREATE TABLE IF NOT EXISTS hive.vmr."clock_step" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "tick" BIGINT COMMENT '1/2 s: where the clock was found to be set',
  "expected" TIMESTAMP(3) COMMENT 'UTC, from the time told before',
  "told" TIMESTAMP(3) COMMENT 'UTC, by the clock from now on',
  "step_ms" BIGINT COMMENT 'ms: so much further it is',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning',
  "date" DATE
) WITH (
  format = 'PARQUET',
  partitioned_by = ARRAY['date'],
  external_location = 's3://BUCKET/lake/kind=clock_step'
);
CALL hive.system.sync_partition_metadata('vmr', 'clock_step', 'FULL');

-- gaps: parts that are lost or damaged
CREATE TABLE IF NOT EXISTS hive.vmr."gaps" (
  "unit" VARCHAR COMMENT 'serial number, else MAC, else unknown; fit for names',
  "recording" VARCHAR COMMENT 'which one of the unit',
  "reason" VARCHAR COMMENT 'why it is lost',
  "from_tick" BIGINT COMMENT '1/2 s: the last one told in front of it',
  "to_tick" BIGINT COMMENT '1/2 s: the first one told behind it',
  "from_time" TIMESTAMP(3) COMMENT 'UTC, at from_tick',
  "to_time" TIMESTAMP(3) COMMENT 'UTC, at to_tick',
  "clusters" INTEGER COMMENT 'of a store, that are lost',
  "bytes" BIGINT COMMENT 'byte: of packets that cannot be used; 0: nobody knows',
  "file" INTEGER COMMENT 'of the store''s two',
  "cluster" INTEGER COMMENT 'of a store',
  "offset" BIGINT COMMENT 'byte: from the file''s beginning'
) WITH (
  format = 'PARQUET',
  external_location = 's3://BUCKET/lake/gaps'
);
