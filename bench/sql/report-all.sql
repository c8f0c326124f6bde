-- The content of the reports if each dimension has marked rows: the counts, and those rows in the
-- shell's HTML format.
.read bench/sql/summary.sql
.mode html
SELECT calendar_date,date_key FROM calendar WHERE is_deletable=1 ORDER BY calendar_date,date_key;
SELECT country_code,postal_code,geography_key FROM geography WHERE is_deletable=1
    ORDER BY country_code,postal_code,geography_key;
SELECT department_key FROM department WHERE is_deletable=1 ORDER BY department_key;
SELECT category_key FROM category WHERE is_deletable=1 ORDER BY category_key;
SELECT brand_name,brand_key FROM brand WHERE is_deletable=1 ORDER BY brand_name,brand_key;
SELECT sku,product_key FROM product WHERE is_deletable=1 ORDER BY sku,product_key;
SELECT store_code,store_key FROM store WHERE is_deletable=1 ORDER BY store_code,store_key;
SELECT promotion_code,region_code FROM promotion WHERE is_deletable=1
    ORDER BY promotion_code,region_code;
SELECT segment_key FROM customer_segment WHERE is_deletable=1 ORDER BY segment_key;
SELECT customer_id,customer_key FROM customer WHERE is_deletable=1
    ORDER BY customer_id,customer_key;
SELECT carrier_key FROM carrier WHERE is_deletable=1 ORDER BY carrier_key;
