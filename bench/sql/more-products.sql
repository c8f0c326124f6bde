-- Adds a million unreferenced products, so that marking, deletion and the detailed report process a
-- million unused elements.
WITH RECURSIVE element(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM element WHERE n < 1000000)
INSERT INTO product
SELECT 10000000 + n, printf('Z%08d', n), 'Product of the bench ' || n, 1, 1, n % 90 + 0.5, 1.25,
       '2015-06-01 00:00:00', 0, 0
FROM element;
