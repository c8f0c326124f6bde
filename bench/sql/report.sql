-- The content of the reports: the counts, and the marked rows in the shell's HTML format.
.read bench/sql/summary.sql
.mode html
SELECT sku,product_key FROM product WHERE is_deletable=1 ORDER BY sku,product_key;
