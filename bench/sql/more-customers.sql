-- Adds 333,334 unreferenced customers with three consecutive versions each: a million versions to
-- re-link before they are deleted.
WITH RECURSIVE element(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM element WHERE n < 333334),
     version(v, first_day, last_day, is_current) AS (VALUES
         (0, '2012-01-01 00:00:00', '2015-06-01 00:00:00', 0),
         (1, '2015-06-01 00:00:00', '2019-03-01 00:00:00', 0),
         (2, '2019-03-01 00:00:00', '9999-12-31 00:00:00', 1))
INSERT INTO customer
SELECT 10000000 + 3 * n + v, printf('Z%08d', n), 'Customer of the bench ' || n, 1, 1000 + n % 500,
       first_day, last_day, is_current, 0, 0
FROM element, version;
