-- ###############################################################
--          sysctrl_reg_pkg.vhd
-- ###############################################################
-- Generated automatically by Ombrel
--
-- Module Description :
--
--      
--
-- ---------------------------------------------------------------
--  $HeadURL: $
--  $Author: $
--  $Date: $
--  $Revision: $
-- ---------------------------------------------------------------
-- ###############################################################
--          VHDL CODE
-- ###############################################################
-------------------------------------------------
-- Libraries
-------------------------------------------------
LIBRARY IEEE;
USE ieee.std_logic_1164.all;

USE work.common_reg_pkg.all;
package sysctrl_reg_pkg is

-- Archive Variables
--16 MHz internal RC oscillator.
constant SYSCLK_HSI:                            integer := 0;
--4 to 32 MHz crystal oscillator.
constant SYSCLK_HSE:                            integer := 1;
constant SYSCLK_PLL:                            integer := 2;

-- Register definition
-- Register Map
-- Address bit for register decoding
constant RCC_REG_NBA: natural := 5;

-- Registers are defined by
--  * an address :          at_REG_NAME
--  * a logical map :       constant or ranges for each field l_Field_Name
--  * a physical map :      constant or ranges for each field p_Field_Name
--  * a physical range :    range_Reg_Name

constant at_CR:                                 integer := 0;
-- logical map
constant l_HSION:                               integer := 0;
constant l_HSIRDY:                              integer := 1;
constant l_HSEON:                               integer := 16;
constant l_HSERDY:                              integer := 17;
constant l_HSEBYP:                              integer := 18;
constant l_PLLON:                               integer := 24;
constant l_PLLRDY:                              integer := 25;
-- physical map
constant p_HSION:                               integer := 0;
constant p_HSIRDY:                              integer := 1;
constant p_HSEON:                               integer := 2;
constant p_HSERDY:                              integer := 3;
constant p_HSEBYP:                              integer := 4;
constant p_PLLON:                               integer := 5;
constant p_PLLRDY:                              integer := 6;
subtype range_CR is                             integer range 6 downto 0;

constant at_CFGR:                               integer := 4;
-- logical map
subtype  l_SW is                                integer range 1 downto 0;
subtype  l_SWS is                               integer range 3 downto 2;
subtype  l_HPRE is                              integer range 7 downto 4;
subtype  l_PPRE1 is                             integer range 10 downto 8;
subtype  l_PPRE2 is                             integer range 13 downto 11;
-- physical map
subtype  p_SW is                                integer range 1 downto 0;
subtype  p_SWS is                               integer range 3 downto 2;
subtype  p_HPRE is                              integer range 7 downto 4;
subtype  p_PPRE1 is                             integer range 10 downto 8;
subtype  p_PPRE2 is                             integer range 13 downto 11;
subtype range_CFGR is                           integer range 13 downto 0;

constant at_AHBENR:                             integer := 8;
-- logical map
constant l_DMA1EN:                              integer := 0;
constant l_CRCEN:                               integer := 6;
constant l_INTCEN:                              integer := 7;
constant l_GPIOEN:                              integer := 17;
constant l_USBEN:                               integer := 24;
-- physical map
constant p_DMA1EN:                              integer := 0;
constant p_CRCEN:                               integer := 1;
constant p_INTCEN:                              integer := 2;
constant p_GPIOEN:                              integer := 3;
constant p_USBEN:                               integer := 4;
subtype range_AHBENR is                         integer range 4 downto 0;

constant at_APB1ENR:                            integer := 12;
-- logical map
constant l_TIM2EN:                              integer := 0;
constant l_TIM3EN:                              integer := 1;
constant l_UART0EN:                             integer := 17;
constant l_UART1EN:                             integer := 18;
-- physical map
constant p_TIM2EN:                              integer := 0;
constant p_TIM3EN:                              integer := 1;
constant p_UART0EN:                             integer := 2;
constant p_UART1EN:                             integer := 3;
subtype range_APB1ENR is                        integer range 3 downto 0;

constant at_CSR:                                integer := 16;
-- logical map
constant l_LSION:                               integer := 0;
constant l_LSIRDY:                              integer := 1;
constant l_RMVF:                                integer := 24;
constant l_PINRSTF:                             integer := 26;
constant l_PORRSTF:                             integer := 27;
constant l_SFTRSTF:                             integer := 28;
constant l_WDGRSTF:                             integer := 29;
constant l_LOCKUPRSTF:                          integer := 31;
-- Not Contiguous BitGroup: RESET_FLAGS
subtype  l_RESET_FLAGS is                       integer range 31 downto 26;
-- physical map
constant p_LSION:                               integer := 0;
constant p_LSIRDY:                              integer := 1;
constant p_RMVF:                                integer := 2;
constant p_PINRSTF:                             integer := 3;
constant p_PORRSTF:                             integer := 4;
constant p_SFTRSTF:                             integer := 5;
constant p_WDGRSTF:                             integer := 6;
constant p_LOCKUPRSTF:                          integer := 7;
subtype  p_RESET_FLAGS is                       integer range 7 downto 3;
subtype range_CSR is                            integer range 7 downto 0;

constant at_SCRATCH:                            integer := 20;
-- logical map
-- physical map
subtype range_SCRATCH is                        integer range 31 downto 0;


end sysctrl_reg_pkg;
