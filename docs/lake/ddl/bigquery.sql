-- Written by `vmr_schema --ddl docs/lake/ddl`. The lake's tables, schema version 2.
-- For BigQuery: external tables. Put the lake's place for gs://BUCKET/lake. A kind without a file
-- cannot be queried. Checked by a parser of BigQuery's SQL, and run on none.

CREATE SCHEMA IF NOT EXISTS vmr;

-- recordings: one row for each recording
CREATE OR REPLACE EXTERNAL TABLE vmr.`recordings` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `source` STRING OPTIONS (description = 'name of the store or file, without folders'),
  `serial_number` STRING OPTIONS (description = 'the first one told'),
  `mac` STRING OPTIONS (description = 'the first one told'),
  `status` STRING OPTIONS (description = 'ok, damaged, empty, mixed or unreadable'),
  `findings` STRING OPTIONS (description = 'what is wrong with it; null: nothing was found'),
  `first_tick` INT64 OPTIONS (description = '1/2 s: of records'),
  `last_tick` INT64 OPTIONS (description = '1/2 s: of records'),
  `first_time` DATETIME OPTIONS (description = 'UTC, the first one known'),
  `last_time` DATETIME OPTIONS (description = 'UTC, the last one known'),
  `time_quality` STRING OPTIONS (description = 'how well first_time is known'),
  `records` INT64 OPTIONS (description = 'in all tables of kinds'),
  `packets_bytes` INT64 OPTIONS (description = 'byte: of all packets'),
  `wrong_crc` INT64 OPTIONS (description = 'packets whose CRC is wrong'),
  `gaps` INT64 OPTIONS (description = 'rows of it in the table of gaps'),
  `clock_steps` INT64 OPTIONS (description = 'times that the clock was set'),
  `runs` INT64 OPTIONS (description = 'of ticks'),
  `overwritten` BOOL OPTIONS (description = 'newer packets stand in place of its beginning'),
  `clusters` INT64 OPTIONS (description = 'of a store, that hold the recording'),
  `file_1` STRING OPTIONS (description = 'health of the first file of a store'),
  `file_2` STRING OPTIONS (description = 'health of the second file of a store'),
  `packets_sha256` STRING OPTIONS (description = 'of all packets as they were read, in order'),
  `file_1_sha256` STRING OPTIONS (description = 'of the first or only file, with --digest'),
  `file_2_sha256` STRING OPTIONS (description = 'of the second file, with --digest'),
  `tool_version` STRING OPTIONS (description = 'of the vmr that made the row'),
  `schema_version` INT64 OPTIONS (description = 'of the columns')
)
OPTIONS (
  format = 'PARQUET',
  uris = ['gs://BUCKET/lake/recordings/*.parquet']
);

-- time: what the unit's clock showed
CREATE OR REPLACE EXTERNAL TABLE vmr.`time` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `clock` DATETIME OPTIONS (description = 'the unit\'s clock, UTC'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=time',
  uris = ['gs://BUCKET/lake/kind=time/*.parquet']
);

-- time_zone: time zone, a name such as America/Chicago
CREATE OR REPLACE EXTERNAL TABLE vmr.`time_zone` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=time_zone',
  uris = ['gs://BUCKET/lake/kind=time_zone/*.parquet']
);

-- time_zone_name: time zone as the unit shows it
CREATE OR REPLACE EXTERNAL TABLE vmr.`time_zone_name` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=time_zone_name',
  uris = ['gs://BUCKET/lake/kind=time_zone_name/*.parquet']
);

-- mac: the unit's network address
CREATE OR REPLACE EXTERNAL TABLE vmr.`mac` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `mac` STRING OPTIONS (description = 'MAC address'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=mac',
  uris = ['gs://BUCKET/lake/kind=mac/*.parquet']
);

-- officer: officer's name
CREATE OR REPLACE EXTERNAL TABLE vmr.`officer` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=officer',
  uris = ['gs://BUCKET/lake/kind=officer/*.parquet']
);

-- badge: officer's badge
CREATE OR REPLACE EXTERNAL TABLE vmr.`badge` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=badge',
  uris = ['gs://BUCKET/lake/kind=badge/*.parquet']
);

-- department: department
CREATE OR REPLACE EXTERNAL TABLE vmr.`department` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=department',
  uris = ['gs://BUCKET/lake/kind=department/*.parquet']
);

-- vehicle: vehicle
CREATE OR REPLACE EXTERNAL TABLE vmr.`vehicle` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=vehicle',
  uris = ['gs://BUCKET/lake/kind=vehicle/*.parquet']
);

-- serial_number: the unit's serial number
CREATE OR REPLACE EXTERNAL TABLE vmr.`serial_number` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=serial_number',
  uris = ['gs://BUCKET/lake/kind=serial_number/*.parquet']
);

-- version: version of a component of the unit
CREATE OR REPLACE EXTERNAL TABLE vmr.`version` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `component` STRING OPTIONS (description = 'which component'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=version',
  uris = ['gs://BUCKET/lake/kind=version/*.parquet']
);

-- policy: a setting of the unit
CREATE OR REPLACE EXTERNAL TABLE vmr.`policy` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `policy` STRING OPTIONS (description = 'which setting'),
  `value` INT64 OPTIONS (description = '0 no, 1 yes, or the number\'s low byte'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=policy',
  uris = ['gs://BUCKET/lake/kind=policy/*.parquet']
);

-- configuration_end: end of the unit's settings
CREATE OR REPLACE EXTERNAL TABLE vmr.`configuration_end` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=configuration_end',
  uris = ['gs://BUCKET/lake/kind=configuration_end/*.parquet']
);

-- input: an input went on or off
CREATE OR REPLACE EXTERNAL TABLE vmr.`input` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `input` STRING OPTIONS (description = 'which input'),
  `on` BOOL OPTIONS (description = 'it is on'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=input',
  uris = ['gs://BUCKET/lake/kind=input/*.parquet']
);

-- button: a button was used
CREATE OR REPLACE EXTERNAL TABLE vmr.`button` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `button` STRING OPTIONS (description = 'which button'),
  `action` STRING OPTIONS (description = 'what was done'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=button',
  uris = ['gs://BUCKET/lake/kind=button/*.parquet']
);

-- bookmark: a moment was marked
CREATE OR REPLACE EXTERNAL TABLE vmr.`bookmark` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=bookmark',
  uris = ['gs://BUCKET/lake/kind=bookmark/*.parquet']
);

-- position: where the vehicle is
CREATE OR REPLACE EXTERNAL TABLE vmr.`position` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `latitude` NUMERIC(10,7) OPTIONS (description = 'degrees: north positive'),
  `latitude_tts` INT64 OPTIONS (description = '1/600000 degree: as recorded'),
  `longitude` NUMERIC(10,7) OPTIONS (description = 'degrees: east positive'),
  `longitude_tts` INT64 OPTIONS (description = '1/600000 degree: as recorded'),
  `absolute` BOOL OPTIONS (description = 'recorded whole, not as a way from the last position'),
  `position` STRING OPTIONS (description = 'unverified: its hemisphere is not known for sure'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=position',
  uris = ['gs://BUCKET/lake/kind=position/*.parquet']
);

-- gps_receiver: the receiver's name
CREATE OR REPLACE EXTERNAL TABLE vmr.`gps_receiver` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=gps_receiver',
  uris = ['gs://BUCKET/lake/kind=gps_receiver/*.parquet']
);

-- gps_state: whether the receiver delivers positions
CREATE OR REPLACE EXTERNAL TABLE vmr.`gps_state` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `available` BOOL OPTIONS (description = 'it does'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=gps_state',
  uris = ['gs://BUCKET/lake/kind=gps_state/*.parquet']
);

-- speed: a speed
CREATE OR REPLACE EXTERNAL TABLE vmr.`speed` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `device` INT64 OPTIONS (description = '1 GPS, 2 radar; see speed_device'),
  `speed` INT64 OPTIONS (description = 'in the device\'s units'),
  `speed_status` STRING OPTIONS (description = 'what the radar showed instead of a speed'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=speed',
  uris = ['gs://BUCKET/lake/kind=speed/*.parquet']
);

-- speed_device: what a device for speeds is
CREATE OR REPLACE EXTERNAL TABLE vmr.`speed_device` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `device` INT64 OPTIONS (description = 'its number'),
  `units` STRING OPTIONS (description = 'units of its speeds'),
  `type` STRING OPTIONS (description = 'what it is'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=speed_device',
  uris = ['gs://BUCKET/lake/kind=speed_device/*.parquet']
);

-- radar: a radar's reading
CREATE OR REPLACE EXTERNAL TABLE vmr.`radar` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `radar` INT64 OPTIONS (description = 'its number'),
  `target` INT64 OPTIONS (description = 'target\'s speed, in the radar\'s units'),
  `target_status` STRING OPTIONS (description = 'what the radar showed instead of a speed'),
  `lock` INT64 OPTIONS (description = 'locked speed'),
  `lock_status` STRING OPTIONS (description = 'what the radar showed instead of a speed'),
  `fastest` INT64 OPTIONS (description = 'fastest speed'),
  `fastest_status` STRING OPTIONS (description = 'what the radar showed instead of a speed'),
  `direction` INT64 OPTIONS (description = 'the direction\'s lowest bit'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=radar',
  uris = ['gs://BUCKET/lake/kind=radar/*.parquet']
);

-- radar_device: what a radar is
CREATE OR REPLACE EXTERNAL TABLE vmr.`radar_device` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `radar` INT64 OPTIONS (description = 'its number'),
  `units` STRING OPTIONS (description = 'units of its speeds'),
  `type` STRING OPTIONS (description = 'what it is'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=radar_device',
  uris = ['gs://BUCKET/lake/kind=radar_device/*.parquet']
);

-- radar_state: whether a radar is connected
CREATE OR REPLACE EXTERNAL TABLE vmr.`radar_state` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `radar` INT64 OPTIONS (description = 'its number'),
  `connected` BOOL OPTIONS (description = 'it is connected'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=radar_state',
  uris = ['gs://BUCKET/lake/kind=radar_state/*.parquet']
);

-- microphone: a microphone came, went, or was switched
CREATE OR REPLACE EXTERNAL TABLE vmr.`microphone` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `stream_number` INT64 OPTIONS (description = 'the microphone as recordings number it'),
  `position` INT64 OPTIONS (description = 'the microphone as units number it'),
  `what` STRING OPTIONS (description = 'what is told of it'),
  `value` BOOL OPTIONS (description = 'whether it is so'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=microphone',
  uris = ['gs://BUCKET/lake/kind=microphone/*.parquet']
);

-- microphone_name: a microphone's name
CREATE OR REPLACE EXTERNAL TABLE vmr.`microphone_name` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `stream_number` INT64 OPTIONS (description = 'the microphone as recordings number it'),
  `position` INT64 OPTIONS (description = 'the microphone as units number it'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=microphone_name',
  uris = ['gs://BUCKET/lake/kind=microphone_name/*.parquet']
);

-- camera: a camera was switched
CREATE OR REPLACE EXTERNAL TABLE vmr.`camera` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `port` INT64 OPTIONS (description = 'camera port, from 0'),
  `state` STRING,
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=camera',
  uris = ['gs://BUCKET/lake/kind=camera/*.parquet']
);

-- camera_name: where a camera looks
CREATE OR REPLACE EXTERNAL TABLE vmr.`camera_name` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `port` INT64 OPTIONS (description = 'camera port, from 0'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=camera_name',
  uris = ['gs://BUCKET/lake/kind=camera_name/*.parquet']
);

-- stream: recording of a video stream was switched
CREATE OR REPLACE EXTERNAL TABLE vmr.`stream` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `stream` INT64 OPTIONS (description = 'from 0'),
  `state` STRING,
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=stream',
  uris = ['gs://BUCKET/lake/kind=stream/*.parquet']
);

-- stream_format: format of a video stream
CREATE OR REPLACE EXTERNAL TABLE vmr.`stream_format` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `stream` INT64 OPTIONS (description = 'from 0'),
  `format` STRING,
  `camera` STRING OPTIONS (description = 'what it shows'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=stream_format',
  uris = ['gs://BUCKET/lake/kind=stream_format/*.parquet']
);

-- live_stream: a stream over the network was switched
CREATE OR REPLACE EXTERNAL TABLE vmr.`live_stream` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `stream` INT64 OPTIONS (description = 'from 0'),
  `camera` INT64 OPTIONS (description = 'camera port'),
  `enabled` BOOL OPTIONS (description = 'it runs'),
  `quality` STRING,
  `address` STRING OPTIONS (description = 'where it goes, IPv4'),
  `port` INT64 OPTIONS (description = 'where it goes'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=live_stream',
  uris = ['gs://BUCKET/lake/kind=live_stream/*.parquet']
);

-- temperature: a temperature in the unit
CREATE OR REPLACE EXTERNAL TABLE vmr.`temperature` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `sensor` STRING OPTIONS (description = 'where'),
  `temperature` INT64 OPTIONS (description = 'degrees: as the sensor counts them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=temperature',
  uris = ['gs://BUCKET/lake/kind=temperature/*.parquet']
);

-- temperature_sensor: name of a sensor
CREATE OR REPLACE EXTERNAL TABLE vmr.`temperature_sensor` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `sensor` STRING OPTIONS (description = 'where'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=temperature_sensor',
  uris = ['gs://BUCKET/lake/kind=temperature_sensor/*.parquet']
);

-- voltage: the supply's voltage
CREATE OR REPLACE EXTERNAL TABLE vmr.`voltage` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `percent` INT64 OPTIONS (description = '%: of what it should be'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=voltage',
  uris = ['gs://BUCKET/lake/kind=voltage/*.parquet']
);

-- log: a free text
CREATE OR REPLACE EXTERNAL TABLE vmr.`log` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=log',
  uris = ['gs://BUCKET/lake/kind=log/*.parquet']
);

-- test: a free text, of a test
CREATE OR REPLACE EXTERNAL TABLE vmr.`test` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `text` STRING OPTIONS (description = 'the text as recorded'),
  `text_bytes` STRING OPTIONS (description = 'the bytes in hexadecimal, where the text is not them'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=test',
  uris = ['gs://BUCKET/lake/kind=test/*.parquet']
);

-- tick_adjust: the next record is of an earlier tick
CREATE OR REPLACE EXTERNAL TABLE vmr.`tick_adjust` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `ticks` INT64 OPTIONS (description = 'ticks: so much earlier, modulo 256'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=tick_adjust',
  uris = ['gs://BUCKET/lake/kind=tick_adjust/*.parquet']
);

-- end_of_stream: the recording ends here
CREATE OR REPLACE EXTERNAL TABLE vmr.`end_of_stream` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: nothing tells it where null'),
  `time` DATETIME OPTIONS (description = 'UTC; nothing tells it where null'),
  `time_quality` STRING OPTIONS (description = 'how well the time is known'),
  `repeats` BOOL OPTIONS (description = 'part of a full state that says nothing new'),
  `packet_crc` STRING OPTIONS (description = 'wrong: the packet is damaged'),
  `adjusted_by` INT64 OPTIONS (description = '1/2 s: ticks taken off the packet\'s'),
  `run` INT64 OPTIONS (description = 'ticks began anew so many times before'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=end_of_stream',
  uris = ['gs://BUCKET/lake/kind=end_of_stream/*.parquet']
);

-- clock_step: the unit's clock was set
CREATE OR REPLACE EXTERNAL TABLE vmr.`clock_step` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `tick` INT64 OPTIONS (description = '1/2 s: where the clock was found to be set'),
  `expected` DATETIME OPTIONS (description = 'UTC, from the time told before'),
  `told` DATETIME OPTIONS (description = 'UTC, by the clock from now on'),
  `step_ms` INT64 OPTIONS (description = 'ms: so much further it is'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
WITH PARTITION COLUMNS (`date` DATE)
OPTIONS (
  format = 'PARQUET',
  hive_partition_uri_prefix = 'gs://BUCKET/lake/kind=clock_step',
  uris = ['gs://BUCKET/lake/kind=clock_step/*.parquet']
);

-- gaps: parts that are lost or damaged
CREATE OR REPLACE EXTERNAL TABLE vmr.`gaps` (
  `unit` STRING OPTIONS (description = 'serial number, else MAC, else unknown; fit for names'),
  `recording` STRING OPTIONS (description = 'which one of the unit'),
  `reason` STRING OPTIONS (description = 'why it is lost'),
  `from_tick` INT64 OPTIONS (description = '1/2 s: the last one told in front of it'),
  `to_tick` INT64 OPTIONS (description = '1/2 s: the first one told behind it'),
  `from_time` DATETIME OPTIONS (description = 'UTC, at from_tick'),
  `to_time` DATETIME OPTIONS (description = 'UTC, at to_tick'),
  `clusters` INT64 OPTIONS (description = 'of a store, that are lost'),
  `bytes` INT64 OPTIONS (description = 'byte: of packets that cannot be used; 0: nobody knows'),
  `file` INT64 OPTIONS (description = 'of the store\'s two'),
  `cluster` INT64 OPTIONS (description = 'of a store'),
  `offset` INT64 OPTIONS (description = 'byte: from the file\'s beginning')
)
OPTIONS (
  format = 'PARQUET',
  uris = ['gs://BUCKET/lake/gaps/*.parquet']
);
