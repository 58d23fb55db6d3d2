-- Written by `vmr_schema --ddl docs/lake/ddl`. The lake's tables, schema version 2.
-- Writes a lake anew with one file for each kind and day, for DuckDB; run it behind duckdb.sql:
--   mkdir compacted
--   node tools/lake/query.mjs lake docs/lake/ddl/compact.sql --set compacted=compacted
-- The folder that the variable names has to be there and to be empty. The new lake is for reading:
-- `vmr export` goes on writing to the one that it knows.

SELECT CASE WHEN coalesce(getvariable('compacted'), '') = ''
            THEN error('say where to write: --set compacted=FOLDER (or SET VARIABLE compacted = '
                       || '''FOLDER'';), a folder that is there and is empty') END;

COPY (SELECT * FROM "recordings" ORDER BY unit, recording)
TO (getvariable('compacted') || '/recordings') (FORMAT parquet, COMPRESSION zstd, FILE_SIZE_BYTES '1GB');

COPY (SELECT * EXCLUDE (kind) FROM "time" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=time') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "time_zone" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=time_zone') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "time_zone_name" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=time_zone_name') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "mac" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=mac') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "officer" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=officer') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "badge" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=badge') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "department" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=department') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "vehicle" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=vehicle') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "serial_number" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=serial_number') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "version" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=version') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "policy" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=policy') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "configuration_end" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=configuration_end') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "input" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=input') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "button" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=button') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "bookmark" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=bookmark') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "position" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=position') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "gps_receiver" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=gps_receiver') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "gps_state" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=gps_state') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "speed" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=speed') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "speed_device" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=speed_device') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "radar" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=radar') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "radar_device" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=radar_device') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "radar_state" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=radar_state') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "microphone" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=microphone') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "microphone_name" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=microphone_name') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "camera" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=camera') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "camera_name" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=camera_name') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "stream" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=stream') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "stream_format" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=stream_format') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "live_stream" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=live_stream') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "temperature" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=temperature') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "temperature_sensor" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=temperature_sensor') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "voltage" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=voltage') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "log" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=log') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "test" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=test') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "tick_adjust" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=tick_adjust') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "end_of_stream" ORDER BY unit, recording, run, tick, cluster, "offset")
TO (getvariable('compacted') || '/kind=end_of_stream') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * EXCLUDE (kind) FROM "clock_step" ORDER BY unit, recording, cluster, "offset")
TO (getvariable('compacted') || '/kind=clock_step') (FORMAT parquet, COMPRESSION zstd, PARTITION_BY (date));

COPY (SELECT * FROM "gaps" ORDER BY unit, recording, cluster, "offset")
TO (getvariable('compacted') || '/gaps') (FORMAT parquet, COMPRESSION zstd, FILE_SIZE_BYTES '1GB');

SELECT split_part(substr(file, length(getvariable('compacted')) + 2), '/', 1) AS folder,
       count(*) AS files
FROM glob(getvariable('compacted') || '/**/*.parquet')
GROUP BY folder
ORDER BY folder;
