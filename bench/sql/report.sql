.mode html
SELECT sku,product_key FROM product WHERE is_deletable=1 ORDER BY sku,product_key;
