-- Which microphones have a name in a unit and were never told to be present or on?
--
-- Unknown   `told` is 'nothing' when no row tells anything of the microphone: it may or may not be
--           there. 'absent or off' when rows do.
-- Not seen  what gaps hold: with `gaps` above 0 the telling may be among what is lost.
WITH named AS (
  SELECT unit, stream_number, arg_max(text, (time, tick)) AS name,
         count(DISTINCT recording) AS recordings
  FROM microphone_name
  WHERE packet_crc IS NULL
  GROUP BY unit, stream_number
), heard AS (
  SELECT unit, stream_number, bool_or(value) AS ever
  FROM microphone
  WHERE packet_crc IS NULL
  GROUP BY unit, stream_number
), lost AS (
  SELECT unit, count(*) AS gaps
  FROM gaps
  GROUP BY unit
)
SELECT n.unit, n.stream_number, n.name, n.recordings,
       CASE WHEN h.ever IS NULL THEN 'nothing' ELSE 'absent or off' END AS told,
       coalesce(l.gaps, 0) AS gaps
FROM named n
LEFT JOIN heard h USING (unit, stream_number)
LEFT JOIN lost l USING (unit)
WHERE h.ever IS NOT TRUE
ORDER BY n.unit, n.stream_number;
