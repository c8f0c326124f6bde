-- What the reports are made of: the counts, and the marked rows with the shell's own HTML.
.read bench/sql/summary.sql
.mode html
SELECT sku,product_key FROM product WHERE is_deletable=1 ORDER BY sku,product_key;
