-- Written by `vmr_schema --ddl docs/lake/ddl`. The lake's tables, schema version 2.
-- For Spark 3.4 or later. Put the lake's place for s3a://BUCKET/lake. MSCK REPAIR TABLE makes new
-- days known: run it when the lake has grown. Checked by a parser of Spark's SQL, and run on none.

CREATE DATABASE IF NOT EXISTS vmr;

-- recordings: one row for each recording
CREATE TABLE IF NOT EXISTS vmr.`recordings` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `source` STRING COMMENT 'name of the store or file, without folders',
  `serial_number` STRING COMMENT 'the first one told',
  `mac` STRING COMMENT 'the first one told',
  `status` STRING COMMENT 'ok, damaged, empty, mixed or unreadable',
  `findings` STRING COMMENT 'what is wrong with it; null: nothing was found',
  `first_tick` BIGINT COMMENT '1/2 s: of records',
  `last_tick` BIGINT COMMENT '1/2 s: of records',
  `first_time` TIMESTAMP_NTZ COMMENT 'UTC, the first one known',
  `last_time` TIMESTAMP_NTZ COMMENT 'UTC, the last one known',
  `time_quality` STRING COMMENT 'how well first_time is known',
  `records` BIGINT COMMENT 'in all tables of kinds',
  `packets_bytes` BIGINT COMMENT 'byte: of all packets',
  `wrong_crc` BIGINT COMMENT 'packets whose CRC is wrong',
  `gaps` BIGINT COMMENT 'rows of it in the table of gaps',
  `clock_steps` BIGINT COMMENT 'times that the clock was set',
  `runs` BIGINT COMMENT 'of ticks',
  `overwritten` BOOLEAN COMMENT 'newer packets stand in place of its beginning',
  `clusters` BIGINT COMMENT 'of a store, that hold the recording',
  `file_1` STRING COMMENT 'health of the first file of a store',
  `file_2` STRING COMMENT 'health of the second file of a store',
  `packets_sha256` STRING COMMENT 'of all packets as they were read, in order',
  `file_1_sha256` STRING COMMENT 'of the first or only file, with --digest',
  `file_2_sha256` STRING COMMENT 'of the second file, with --digest',
  `tool_version` STRING COMMENT 'of the vmr that made the row',
  `schema_version` INT COMMENT 'of the columns'
) USING parquet
LOCATION 's3a://BUCKET/lake/recordings';

-- time: what the unit's clock showed
CREATE TABLE IF NOT EXISTS vmr.`time` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `clock` TIMESTAMP_NTZ COMMENT 'the unit\'s clock, UTC',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=time';
MSCK REPAIR TABLE vmr.`time`;

-- time_zone: time zone, a name such as America/Chicago
CREATE TABLE IF NOT EXISTS vmr.`time_zone` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=time_zone';
MSCK REPAIR TABLE vmr.`time_zone`;

-- time_zone_name: time zone as the unit shows it
CREATE TABLE IF NOT EXISTS vmr.`time_zone_name` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=time_zone_name';
MSCK REPAIR TABLE vmr.`time_zone_name`;

-- mac: the unit's network address
CREATE TABLE IF NOT EXISTS vmr.`mac` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `mac` STRING COMMENT 'MAC address',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=mac';
MSCK REPAIR TABLE vmr.`mac`;

-- officer: officer's name
CREATE TABLE IF NOT EXISTS vmr.`officer` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=officer';
MSCK REPAIR TABLE vmr.`officer`;

-- badge: officer's badge
CREATE TABLE IF NOT EXISTS vmr.`badge` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=badge';
MSCK REPAIR TABLE vmr.`badge`;

-- department: department
CREATE TABLE IF NOT EXISTS vmr.`department` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=department';
MSCK REPAIR TABLE vmr.`department`;

-- vehicle: vehicle
CREATE TABLE IF NOT EXISTS vmr.`vehicle` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=vehicle';
MSCK REPAIR TABLE vmr.`vehicle`;

-- serial_number: the unit's serial number
CREATE TABLE IF NOT EXISTS vmr.`serial_number` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=serial_number';
MSCK REPAIR TABLE vmr.`serial_number`;

-- version: version of a component of the unit
CREATE TABLE IF NOT EXISTS vmr.`version` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `component` STRING COMMENT 'which component',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=version';
MSCK REPAIR TABLE vmr.`version`;

-- policy: a setting of the unit
CREATE TABLE IF NOT EXISTS vmr.`policy` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `policy` STRING COMMENT 'which setting',
  `value` BIGINT COMMENT '0 no, 1 yes, or the number\'s low byte',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=policy';
MSCK REPAIR TABLE vmr.`policy`;

-- configuration_end: end of the unit's settings
CREATE TABLE IF NOT EXISTS vmr.`configuration_end` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=configuration_end';
MSCK REPAIR TABLE vmr.`configuration_end`;

-- input: an input went on or off
CREATE TABLE IF NOT EXISTS vmr.`input` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `input` STRING COMMENT 'which input',
  `on` BOOLEAN COMMENT 'it is on',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=input';
MSCK REPAIR TABLE vmr.`input`;

-- button: a button was used
CREATE TABLE IF NOT EXISTS vmr.`button` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `button` STRING COMMENT 'which button',
  `action` STRING COMMENT 'what was done',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=button';
MSCK REPAIR TABLE vmr.`button`;

-- bookmark: a moment was marked
CREATE TABLE IF NOT EXISTS vmr.`bookmark` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=bookmark';
MSCK REPAIR TABLE vmr.`bookmark`;

-- position: where the vehicle is
CREATE TABLE IF NOT EXISTS vmr.`position` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `latitude` DECIMAL(10,7) COMMENT 'degrees: north positive',
  `latitude_tts` INT COMMENT '1/600000 degree: as recorded',
  `longitude` DECIMAL(10,7) COMMENT 'degrees: east positive',
  `longitude_tts` INT COMMENT '1/600000 degree: as recorded',
  `absolute` BOOLEAN COMMENT 'recorded whole, not as a way from the last position',
  `position` STRING COMMENT 'unverified: its hemisphere is not known for sure',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=position';
MSCK REPAIR TABLE vmr.`position`;

-- gps_receiver: the receiver's name
CREATE TABLE IF NOT EXISTS vmr.`gps_receiver` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=gps_receiver';
MSCK REPAIR TABLE vmr.`gps_receiver`;

-- gps_state: whether the receiver delivers positions
CREATE TABLE IF NOT EXISTS vmr.`gps_state` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `available` BOOLEAN COMMENT 'it does',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=gps_state';
MSCK REPAIR TABLE vmr.`gps_state`;

-- speed: a speed
CREATE TABLE IF NOT EXISTS vmr.`speed` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `device` BIGINT COMMENT '1 GPS, 2 radar; see speed_device',
  `speed` BIGINT COMMENT 'in the device\'s units',
  `speed_status` STRING COMMENT 'what the radar showed instead of a speed',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=speed';
MSCK REPAIR TABLE vmr.`speed`;

-- speed_device: what a device for speeds is
CREATE TABLE IF NOT EXISTS vmr.`speed_device` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `device` BIGINT COMMENT 'its number',
  `units` STRING COMMENT 'units of its speeds',
  `type` STRING COMMENT 'what it is',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=speed_device';
MSCK REPAIR TABLE vmr.`speed_device`;

-- radar: a radar's reading
CREATE TABLE IF NOT EXISTS vmr.`radar` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `radar` BIGINT COMMENT 'its number',
  `target` BIGINT COMMENT 'target\'s speed, in the radar\'s units',
  `target_status` STRING COMMENT 'what the radar showed instead of a speed',
  `lock` BIGINT COMMENT 'locked speed',
  `lock_status` STRING COMMENT 'what the radar showed instead of a speed',
  `fastest` BIGINT COMMENT 'fastest speed',
  `fastest_status` STRING COMMENT 'what the radar showed instead of a speed',
  `direction` BIGINT COMMENT 'the direction\'s lowest bit',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=radar';
MSCK REPAIR TABLE vmr.`radar`;

-- radar_device: what a radar is
CREATE TABLE IF NOT EXISTS vmr.`radar_device` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `radar` BIGINT COMMENT 'its number',
  `units` STRING COMMENT 'units of its speeds',
  `type` STRING COMMENT 'what it is',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=radar_device';
MSCK REPAIR TABLE vmr.`radar_device`;

-- radar_state: whether a radar is connected
CREATE TABLE IF NOT EXISTS vmr.`radar_state` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `radar` BIGINT COMMENT 'its number',
  `connected` BOOLEAN COMMENT 'it is connected',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=radar_state';
MSCK REPAIR TABLE vmr.`radar_state`;

-- microphone: a microphone came, went, or was switched
CREATE TABLE IF NOT EXISTS vmr.`microphone` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `stream_number` BIGINT COMMENT 'the microphone as recordings number it',
  `position` BIGINT COMMENT 'the microphone as units number it',
  `what` STRING COMMENT 'what is told of it',
  `value` BOOLEAN COMMENT 'whether it is so',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=microphone';
MSCK REPAIR TABLE vmr.`microphone`;

-- microphone_name: a microphone's name
CREATE TABLE IF NOT EXISTS vmr.`microphone_name` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `stream_number` BIGINT COMMENT 'the microphone as recordings number it',
  `position` BIGINT COMMENT 'the microphone as units number it',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=microphone_name';
MSCK REPAIR TABLE vmr.`microphone_name`;

-- camera: a camera was switched
CREATE TABLE IF NOT EXISTS vmr.`camera` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `port` BIGINT COMMENT 'camera port, from 0',
  `state` STRING,
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=camera';
MSCK REPAIR TABLE vmr.`camera`;

-- camera_name: where a camera looks
CREATE TABLE IF NOT EXISTS vmr.`camera_name` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `port` BIGINT COMMENT 'camera port, from 0',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=camera_name';
MSCK REPAIR TABLE vmr.`camera_name`;

-- stream: recording of a video stream was switched
CREATE TABLE IF NOT EXISTS vmr.`stream` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `stream` BIGINT COMMENT 'from 0',
  `state` STRING,
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=stream';
MSCK REPAIR TABLE vmr.`stream`;

-- stream_format: format of a video stream
CREATE TABLE IF NOT EXISTS vmr.`stream_format` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `stream` BIGINT COMMENT 'from 0',
  `format` STRING,
  `camera` STRING COMMENT 'what it shows',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=stream_format';
MSCK REPAIR TABLE vmr.`stream_format`;

-- live_stream: a stream over the network was switched
CREATE TABLE IF NOT EXISTS vmr.`live_stream` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `stream` BIGINT COMMENT 'from 0',
  `camera` BIGINT COMMENT 'camera port',
  `enabled` BOOLEAN COMMENT 'it runs',
  `quality` STRING,
  `address` STRING COMMENT 'where it goes, IPv4',
  `port` BIGINT COMMENT 'where it goes',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=live_stream';
MSCK REPAIR TABLE vmr.`live_stream`;

-- temperature: a temperature in the unit
CREATE TABLE IF NOT EXISTS vmr.`temperature` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `sensor` STRING COMMENT 'where',
  `temperature` BIGINT COMMENT 'degrees: as the sensor counts them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=temperature';
MSCK REPAIR TABLE vmr.`temperature`;

-- temperature_sensor: name of a sensor
CREATE TABLE IF NOT EXISTS vmr.`temperature_sensor` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `sensor` STRING COMMENT 'where',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=temperature_sensor';
MSCK REPAIR TABLE vmr.`temperature_sensor`;

-- voltage: the supply's voltage
CREATE TABLE IF NOT EXISTS vmr.`voltage` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `percent` BIGINT COMMENT '%: of what it should be',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=voltage';
MSCK REPAIR TABLE vmr.`voltage`;

-- log: a free text
CREATE TABLE IF NOT EXISTS vmr.`log` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=log';
MSCK REPAIR TABLE vmr.`log`;

-- test: a free text, of a test
CREATE TABLE IF NOT EXISTS vmr.`test` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `text` STRING COMMENT 'the text as recorded',
  `text_bytes` STRING COMMENT 'the bytes in hexadecimal, where the text is not them',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=test';
MSCK REPAIR TABLE vmr.`test`;

-- tick_adjust: the next record is of an earlier tick
CREATE TABLE IF NOT EXISTS vmr.`tick_adjust` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `ticks` BIGINT COMMENT 'ticks: so much earlier, modulo 256',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=tick_adjust';
MSCK REPAIR TABLE vmr.`tick_adjust`;

-- end_of_stream: the recording ends here
CREATE TABLE IF NOT EXISTS vmr.`end_of_stream` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: nothing tells it where null',
  `time` TIMESTAMP_NTZ COMMENT 'UTC; nothing tells it where null',
  `time_quality` STRING COMMENT 'how well the time is known',
  `repeats` BOOLEAN COMMENT 'part of a full state that says nothing new',
  `packet_crc` STRING COMMENT 'wrong: the packet is damaged',
  `adjusted_by` INT COMMENT '1/2 s: ticks taken off the packet\'s',
  `run` INT COMMENT 'ticks began anew so many times before',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=end_of_stream';
MSCK REPAIR TABLE vmr.`end_of_stream`;

-- clock_step: the unit's clock was set
CREATE TABLE IF NOT EXISTS vmr.`clock_step` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `tick` BIGINT COMMENT '1/2 s: where the clock was found to be set',
  `expected` TIMESTAMP_NTZ COMMENT 'UTC, from the time told before',
  `told` TIMESTAMP_NTZ COMMENT 'UTC, by the clock from now on',
  `step_ms` BIGINT COMMENT 'ms: so much further it is',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning',
  `date` DATE
) USING parquet
PARTITIONED BY (`date`)
LOCATION 's3a://BUCKET/lake/kind=clock_step';
MSCK REPAIR TABLE vmr.`clock_step`;

-- gaps: parts that are lost or damaged
CREATE TABLE IF NOT EXISTS vmr.`gaps` (
  `unit` STRING COMMENT 'serial number, else MAC, else unknown; fit for names',
  `recording` STRING COMMENT 'which one of the unit',
  `reason` STRING COMMENT 'why it is lost',
  `from_tick` BIGINT COMMENT '1/2 s: the last one told in front of it',
  `to_tick` BIGINT COMMENT '1/2 s: the first one told behind it',
  `from_time` TIMESTAMP_NTZ COMMENT 'UTC, at from_tick',
  `to_time` TIMESTAMP_NTZ COMMENT 'UTC, at to_tick',
  `clusters` INT COMMENT 'of a store, that are lost',
  `bytes` BIGINT COMMENT 'byte: of packets that cannot be used; 0: nobody knows',
  `file` INT COMMENT 'of the store\'s two',
  `cluster` INT COMMENT 'of a store',
  `offset` BIGINT COMMENT 'byte: from the file\'s beginning'
) USING parquet
LOCATION 's3a://BUCKET/lake/gaps';
